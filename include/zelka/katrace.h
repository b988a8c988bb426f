#ifndef ZELKA_KATRACE_H
#define ZELKA_KATRACE_H

#include <cstdarg>
#include <cstdio>
#include <atomic>
#include "kaexport.h"
#include "kastring.h"

// Where a trace entry comes from: its category (an index into the trace's category table) and
// the three name columns. A null name is written as an empty column.
struct TKaTraceSite
{
    unsigned long category;
    const wchar_t* module;
    const wchar_t* className;
    const wchar_t* function;
};

// The source of local time for the entries; GetLocalTime has this shape.
typedef void(WINAPI* TKaTraceClock)(LPSYSTEMTIME time);

// A trace file configured from the registry: entries filtered by category and by a tracking
// switch (function entry and exit lines), a marker block in the file for every change of the
// settings, and one generation of rotation when the file reaches its size limit.
//
// The trace never throws and never reports: whatever fails (registry, folder, file, memory)
// leaves tracing off or drops the text. Every operation is serialised on the object's own
// critical section, so entries from different threads never interleave.
class ZELKA_API CKaTraceFile
{
public:
    enum { MaxCategories = 32 };

    // The clock is for tests that must control the date; null means GetLocalTime.
    explicit CKaTraceFile(TKaTraceClock clock = nullptr);
    ~CKaTraceFile();
    CKaTraceFile(const CKaTraceFile&) = delete;
    CKaTraceFile& operator=(const CKaTraceFile&) = delete;

    // Reads (and writes back) the configuration below HKEY_CURRENT_USER\<registryKey>\Trace and
    // starts writing <folder>\<fileName>, where the folder is the configured TargetPath or else
    // <csidl folder>\<subFolder>. A trace that is already running is restarted; more than
    // MaxCategories categories leave everything as it is.
    void Start(int csidl, const wchar_t* subFolder, const wchar_t* fileName,
               const wchar_t* registryKey, unsigned long categoryCount,
               const wchar_t* const* categoryNames, unsigned long moduleWidth,
               unsigned long classWidth, unsigned long functionWidth);
    // Closes the file and forgets path and categories; writes no marker.
    void Stop();

    void Trace(const TKaTraceSite& site, const wchar_t* format, va_list args);
    void Enter(const wchar_t* module, const wchar_t* className, const wchar_t* function);
    void Leave(const wchar_t* module, const wchar_t* className, const wchar_t* function,
               long result);

    // Settings of a started trace. Each change is recorded in the file while tracing is on;
    // setting a value it already has writes nothing.
    void setEnabled(bool enabled);
    void setTracking(bool tracking);
    void setCategoryEnabled(unsigned long index, bool enabled);
    void setMaxFileSizeKB(unsigned long maxFileSizeKB);
    void setKeepFileOpen(bool keepFileOpen);
    // Moves the trace to another file; the old file ends with a note of the move.
    void setPath(const wchar_t* path);

    bool getIsStarted() const;
    bool getIsEnabled() const;
    bool getIsTracking() const;
    unsigned long getCategoryCount() const;
    bool getIsCategoryEnabled(unsigned long index) const;
    unsigned long getMaxFileSizeKB() const;
    bool getKeepFileOpen() const;

private:
    struct TCategory
    {
        CKaString name;
        bool enabled;
    };

    void Initialize(const CKaString& path, unsigned long categoryCount,
                    const wchar_t* const* categoryNames, const unsigned long (&widths)[3]);
    void StopLocked();
    bool Accepts(const TKaTraceSite* site) const;
    void WriteEntry(const wchar_t* label, const wchar_t* module, const wchar_t* className,
                    const wchar_t* function, const CKaString& message);
    void RefreshTime();

    void WritePiece(const CKaString& text);
    void WriteFormat(const wchar_t* format, ...);
    template <class... Args>
    void WriteStamped(const wchar_t* format, Args... values);
    template <class T>
    void WriteMarker(const wchar_t* format, T value);
    void WriteSeparator();
    void WriteSettings();
    void WriteEnabledBlock(bool starting);
    void WriteContinuation();
    void AfterBlock();
    void CheckRotation();
    void CloseFile();

    std::atomic<bool> m_started;
    TCategory m_categories[MaxCategories];
    unsigned long m_categoryCount;
    std::atomic<bool> m_enabled;
    std::atomic<bool> m_tracking;
    CKaString m_path;
    CKaString m_oldPath;
    unsigned long m_maxFileSizeKB;
    bool m_keepFileOpen;
    SYSTEMTIME m_now;
    mutable CRITICAL_SECTION m_lock;
    FILE* m_file;
    unsigned long m_widths[3];
    TKaTraceClock m_clock;
    char m_buffer[40960];
};

// The library's process-wide trace: the same operations on its one CKaTraceFile.
ZELKA_API void KaTraceStart(int csidl, const wchar_t* subFolder, const wchar_t* fileName,
                            const wchar_t* registryKey, unsigned long categoryCount,
                            const wchar_t* const* categoryNames, unsigned long moduleWidth,
                            unsigned long classWidth, unsigned long functionWidth);
ZELKA_API void KaTraceStop();
// A printf-style entry, written when the site's category is enabled.
ZELKA_API void KaTrace(const TKaTraceSite& site, const wchar_t* format, ...);
// Function entry ("-->>") and exit ("<<--", with the result as "%08lx") lines, written while
// tracking is on.
ZELKA_API void KaTraceEnter(const wchar_t* module, const wchar_t* className,
                            const wchar_t* function);
ZELKA_API void KaTraceLeave(const wchar_t* module, const wchar_t* className,
                            const wchar_t* function, long result);

#endif
