#ifndef ZELKA_SRC_TRACE_KATRACECATEGORIES_H
#define ZELKA_SRC_TRACE_KATRACECATEGORIES_H

// The categories of the library's own trace, by index; their names are given when the trace is
// started at process attach.
enum TKaLibraryTraceCategory
{
    KaTraceError = 0,
    KaTraceInfo = 1,
    KaTraceUnexpected = 2,
    KaTraceWarning = 3
};

#endif
