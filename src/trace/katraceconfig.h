#ifndef ZELKA_SRC_TRACE_KATRACECONFIG_H
#define ZELKA_SRC_TRACE_KATRACECONFIG_H

#include <windows.h>
#include "zelka/kastring.h"

// The trace settings kept in the registry; constructed with the values a missing entry gets.
struct TKaTraceConfig
{
    DWORD enabled = 0;
    DWORD tracking = 1;
    DWORD categoryMask = 0xFFFFFFFF;
    DWORD maxFileSizeKB = 10000;
    DWORD keepFileOpen = 1;
    // Up to MAX_PATH characters and the terminator; empty means the default folder.
    wchar_t targetPath[MAX_PATH + 1] = {};
    DWORD targetPathType = REG_SZ;
};

// Reads the settings below HKEY_CURRENT_USER\<registryKey>\Trace, creating the keys when they
// are missing, and writes the effective settings back beside their explanatory comments, so
// that a user finds every setting and its meaning in the registry. Whatever cannot be read
// keeps its default; only running out of memory throws.
void KaReadTraceConfig(const wchar_t* registryKey, TKaTraceConfig& config);

// <csidl folder>\<subFolder>, created when missing; empty when it cannot be found or made.
CKaString KaFindTraceFolder(int csidl, const wchar_t* subFolder);

#endif
