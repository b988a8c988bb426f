#include "zelka/katrace.h"

namespace {

// The library's process-wide trace, started at process attach and stopped at detach.
CKaTraceFile KaTraceFile;

} // namespace

void KaTraceStart(int csidl, const wchar_t* subFolder, const wchar_t* fileName,
                  const wchar_t* registryKey, unsigned long categoryCount,
                  const wchar_t* const* categoryNames, unsigned long moduleWidth,
                  unsigned long classWidth, unsigned long functionWidth)
{
    KaTraceFile.Start(csidl, subFolder, fileName, registryKey, categoryCount, categoryNames,
                      moduleWidth, classWidth, functionWidth);
}

void KaTraceStop()
{
    KaTraceFile.Stop();
}

void KaTrace(const TKaTraceSite& site, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    KaTraceFile.Trace(site, format, args);
    va_end(args);
}

void KaTraceEnter(const wchar_t* module, const wchar_t* className, const wchar_t* function)
{
    KaTraceFile.Enter(module, className, function);
}

void KaTraceLeave(const wchar_t* module, const wchar_t* className, const wchar_t* function,
                  long result)
{
    KaTraceFile.Leave(module, className, function, result);
}
