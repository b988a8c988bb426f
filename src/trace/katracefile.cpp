#include "zelka/katrace.h"
#include <cwchar>
#include "zelka/kahandle.h"
#include "io/kacodepage.h"
#include "katraceconfig.h"

// Marker time stamps, appended to the marker formats below.
#define KA_TRACE_STAMP L"%04d-%02d-%02d %02d:%02d:%02d.%03d"

namespace {

const wchar_t g_separator[] =
    L"\n***** --------------------------------------------------------------------------------";

// Limits of one entry: the formatted name columns and the formatted message.
const unsigned long g_maxColumnsLength = 1001;
const unsigned long g_maxMessageLength = 10240;

// The keep-open flag words are 8-bit text handed to the wide formatter as they are, so the file
// shows whatever their bytes read as in UTF-16. Each is padded with zero bytes to end on a whole
// wide terminator, so that reading them never runs past the word.
alignas(2) const char g_trueWord[6] = "true";
alignas(2) const char g_falseWord[8] = "false";

// Runs one operation of the trace under its lock; the trace never lets a failure out.
template <class F>
void RunLocked(CRITICAL_SECTION& section, F&& operation) noexcept
{
    try {
        CKaSectionGuard locked(section);
        operation();
    } catch (...) {
    }
}

bool IsBlank(const wchar_t* text)
{
    return !text || !*text;
}

const wchar_t* OrEmpty(const wchar_t* text)
{
    return text ? text : L"";
}

const wchar_t* OnOff(bool on)
{
    return on ? L"enabled" : L"disabled";
}

CKaString Truncated(const CKaString& text, unsigned long maxLength)
{
    return text.getLength() > maxLength ? text.Left(maxLength) : text;
}

// The rotation target: the file name's extension (if any) replaced by ".otc".
CKaString RotationTarget(const CKaString& path)
{
    const wchar_t* text = path.getSz();
    const wchar_t* slash = std::wcsrchr(text, L'\\');
    const wchar_t* dot = std::wcsrchr(slash ? slash : text, L'.');
    CKaString target = dot ? path.Left(static_cast<unsigned long>(dot - text)) : path;
    target.Append(L".otc");
    return target;
}

bool IsSameDate(const SYSTEMTIME& a, const SYSTEMTIME& b)
{
    return a.wYear == b.wYear && a.wMonth == b.wMonth && a.wDay == b.wDay;
}

} // namespace

CKaTraceFile::CKaTraceFile(TKaTraceClock clock)
    : m_started(false), m_categories(), m_categoryCount(0), m_enabled(false), m_tracking(false),
      m_maxFileSizeKB(10000), m_keepFileOpen(false), m_now(), m_file(nullptr), m_widths(),
      m_clock(clock ? clock : GetLocalTime), m_buffer()
{
    InitializeCriticalSection(&m_lock);
}

CKaTraceFile::~CKaTraceFile()
{
    Stop();
    DeleteCriticalSection(&m_lock);
}

// ---- start and stop ---------------------------------------------------------------------------

void CKaTraceFile::Start(int csidl, const wchar_t* subFolder, const wchar_t* fileName,
                         const wchar_t* registryKey, unsigned long categoryCount,
                         const wchar_t* const* categoryNames, unsigned long moduleWidth,
                         unsigned long classWidth, unsigned long functionWidth)
{
    try {
        const CKaString defaultFolder =
            IsBlank(fileName) ? CKaString() : KaFindTraceFolder(csidl, subFolder);
        if (IsBlank(fileName) || IsBlank(registryKey)) return;
        TKaTraceConfig config;
        KaReadTraceConfig(registryKey, config);
        const CKaString folder =
            config.targetPath[0] ? CKaString(config.targetPath) : defaultFolder;
        if (folder.getIsEmpty()) return;
        const CKaString path = CKaString::Build(L"%s\\%s", folder.getSz(), fileName);
        const unsigned long widths[3] = {moduleWidth, classWidth, functionWidth};

        CKaSectionGuard locked(m_lock);
        if (categoryCount > MaxCategories) return;
        Initialize(path, categoryCount, categoryNames, widths);
        // Enabled comes last, so that starting writes a single block that shows all the rest.
        setTracking(config.tracking != 0);
        for (unsigned long i = 0; i < categoryCount; ++i) {
            setCategoryEnabled(i, ((config.categoryMask >> i) & 1) != 0);
        }
        setMaxFileSizeKB(config.maxFileSizeKB);
        setKeepFileOpen(config.keepFileOpen != 0);
        setEnabled(config.enabled != 0);
    } catch (...) {
    }
}

void CKaTraceFile::Initialize(const CKaString& path, unsigned long categoryCount,
                              const wchar_t* const* categoryNames,
                              const unsigned long (&widths)[3])
{
    StopLocked();
    m_started = true;
    m_enabled = false;
    m_tracking = false;
    setPath(path);
    for (unsigned long i = 0; i < categoryCount; ++i) {
        const wchar_t* name = categoryNames ? categoryNames[i] : nullptr;
        m_categories[i].name = name ? CKaString(name) : CKaString::Build(L"%u", i);
        m_categories[i].enabled = false;
    }
    m_categoryCount = categoryCount;
    for (int i = 0; i < 3; ++i) m_widths[i] = widths[i];
    m_now = SYSTEMTIME();
}

void CKaTraceFile::Stop()
{
    RunLocked(m_lock, [this] { StopLocked(); });
}

void CKaTraceFile::StopLocked()
{
    if (!m_started) return;
    CloseFile();
    m_path.Clear();
    m_oldPath.Clear();
    for (unsigned long i = 0; i < m_categoryCount; ++i) m_categories[i].name.Clear();
    m_categoryCount = 0;
    m_started = false;
}

// ---- entries ----------------------------------------------------------------------------------

void CKaTraceFile::Trace(const TKaTraceSite& site, const wchar_t* format, va_list args)
{
    if (!m_started || !m_enabled) return;
    RunLocked(m_lock, [&] {
        if (!Accepts(&site)) return;
        // A format the runtime rejects still leaves the entry, with an empty message.
        CKaString message;
        try {
            message = Truncated(CKaString::BuildV(format, args), g_maxMessageLength);
        } catch (...) {
        }
        WriteEntry(m_categories[site.category].name, site.module, site.className, site.function,
                   message);
    });
}

void CKaTraceFile::Enter(const wchar_t* module, const wchar_t* className, const wchar_t* function)
{
    if (!m_started || !m_enabled || !m_tracking) return;
    RunLocked(m_lock, [&] {
        if (Accepts(nullptr)) WriteEntry(L"-->>", module, className, function, CKaString());
    });
}

void CKaTraceFile::Leave(const wchar_t* module, const wchar_t* className, const wchar_t* function,
                         long result)
{
    if (!m_started || !m_enabled || !m_tracking) return;
    RunLocked(m_lock, [&] {
        if (!Accepts(nullptr)) return;
        WriteEntry(L"<<--", module, className, function, CKaString::Build(L"%08lx", result));
    });
}

// A category site passes when its category exists and is enabled; a null site is an entry or
// exit line and passes while tracking is on.
bool CKaTraceFile::Accepts(const TKaTraceSite* site) const
{
    if (!m_started || !m_enabled) return false;
    if (!site) return m_tracking;
    return site->category < m_categoryCount && m_categories[site->category].enabled;
}

void CKaTraceFile::WriteEntry(const wchar_t* label, const wchar_t* module,
                              const wchar_t* className, const wchar_t* function,
                              const CKaString& message)
{
    RefreshTime();
    WriteFormat(L"\n%02d:%02d:%02d.%03d|%4d|%-5s|", m_now.wHour, m_now.wMinute, m_now.wSecond,
                m_now.wMilliseconds, static_cast<int>(GetCurrentThreadId()), label);
    CKaString columns = Truncated(
        CKaString::Build(L"%-*s|%-*s|%-*s", m_widths[0], OrEmpty(module), m_widths[1],
                         OrEmpty(className), m_widths[2], OrEmpty(function)),
        g_maxColumnsLength);
    columns.Append(L"|");
    WritePiece(columns);
    WritePiece(message);
    AfterBlock();
}

void CKaTraceFile::RefreshTime()
{
    const SYSTEMTIME previous = m_now;
    m_clock(&m_now);
    // A zero year marks "no entry yet" (the time is zeroed whenever the trace starts).
    if (previous.wYear == 0 || IsSameDate(previous, m_now)) return;
    WriteSeparator();
    WriteFormat(L"\n***** Current date: %04d-%02d-%02d", m_now.wYear, m_now.wMonth, m_now.wDay);
    WriteSeparator();
}

// ---- settings ---------------------------------------------------------------------------------

void CKaTraceFile::setEnabled(bool enabled)
{
    RunLocked(m_lock, [&] {
        if (!m_started || m_enabled == enabled) return;
        // The block is written while tracing is on: first thing when it starts, last thing when
        // it stops.
        if (enabled) {
            m_enabled = true;
            WriteEnabledBlock(true);
        } else {
            WriteEnabledBlock(false);
            m_enabled = false;
        }
        // Nothing more is written while tracing is off, so the file is not held for it.
        if (!m_enabled || !m_keepFileOpen) CloseFile();
    });
}

void CKaTraceFile::setTracking(bool tracking)
{
    RunLocked(m_lock, [&] {
        if (!m_started || m_tracking == tracking) return;
        m_tracking = tracking;
        WriteMarker(L"\n***** Tracking %s at " KA_TRACE_STAMP, OnOff(tracking));
    });
}

void CKaTraceFile::setCategoryEnabled(unsigned long index, bool enabled)
{
    RunLocked(m_lock, [&] {
        if (!m_started || index >= m_categoryCount) return;
        if (m_categories[index].enabled == enabled) return;
        m_categories[index].enabled = enabled;
        // The block names the new state, not the category.
        WriteMarker(L"\n***** Category %s at " KA_TRACE_STAMP, OnOff(enabled));
    });
}

void CKaTraceFile::setMaxFileSizeKB(unsigned long maxFileSizeKB)
{
    RunLocked(m_lock, [&] {
        if (!m_started || m_maxFileSizeKB == maxFileSizeKB) return;
        m_maxFileSizeKB = maxFileSizeKB;
        WriteMarker(L"\n***** Maximum file size changed to %u at " KA_TRACE_STAMP, maxFileSizeKB);
    });
}

void CKaTraceFile::setKeepFileOpen(bool keepFileOpen)
{
    RunLocked(m_lock, [&] {
        if (!m_started || m_keepFileOpen == keepFileOpen) return;
        m_keepFileOpen = keepFileOpen;
        WriteMarker(L"\n***** Keep file open flag changed to %s at " KA_TRACE_STAMP,
                    keepFileOpen ? g_trueWord : g_falseWord);
    });
}

void CKaTraceFile::setPath(const wchar_t* path)
{
    RunLocked(m_lock, [&] {
        if (!m_started || IsBlank(path) || m_path == path) return;
        const CKaString newPath(path);
        const CKaString oldPath = RotationTarget(newPath);
        WriteMarker(L"\n***** File path changed to %s at " KA_TRACE_STAMP, path);
        CloseFile();
        m_path = newPath;
        m_oldPath = oldPath;
        if (!m_enabled) return;
        WriteContinuation();
        AfterBlock();
    });
}

bool CKaTraceFile::getIsStarted() const
{
    return m_started;
}

bool CKaTraceFile::getIsEnabled() const
{
    return m_enabled;
}

bool CKaTraceFile::getIsTracking() const
{
    return m_tracking;
}

unsigned long CKaTraceFile::getCategoryCount() const
{
    return m_categoryCount;
}

bool CKaTraceFile::getIsCategoryEnabled(unsigned long index) const
{
    bool enabled = false;
    RunLocked(m_lock, [&] {
        enabled = index < m_categoryCount && m_categories[index].enabled;
    });
    return enabled;
}

unsigned long CKaTraceFile::getMaxFileSizeKB() const
{
    return m_maxFileSizeKB;
}

bool CKaTraceFile::getKeepFileOpen() const
{
    return m_keepFileOpen;
}

// ---- writing ----------------------------------------------------------------------------------

// Every piece goes out at once, so that a crash loses nothing already traced. The file is
// opened in text mode whatever the process's default mode is, so each "\n" becomes CR LF.
void CKaTraceFile::WritePiece(const CKaString& text)
{
    if (text.getIsEmpty()) return;
    if (!m_file) m_file = _wfopen(m_path, L"a+t");
    if (!m_file) return;
    const unsigned long size =
        KaTryUnitsToCodePage(CP_ACP, text, text.getLength(),
                             reinterpret_cast<unsigned char*>(m_buffer), sizeof(m_buffer),
                             nullptr, nullptr);
    if (size > 0) {
        std::fwrite(m_buffer, 1, size, m_file);
    } else {
        std::fputs("!#*$?\n", m_file);
    }
    std::fflush(m_file);
}

void CKaTraceFile::WriteFormat(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    CKaString text;
    try {
        text = CKaString::BuildV(format, args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
    WritePiece(text);
}

// The format ends in the time stamp, which follows the given values.
template <class... Args>
void CKaTraceFile::WriteStamped(const wchar_t* format, Args... values)
{
    WriteFormat(format, values..., m_now.wYear, m_now.wMonth, m_now.wDay, m_now.wHour,
                m_now.wMinute, m_now.wSecond, m_now.wMilliseconds);
}

// A one-line block recording a changed setting, written only while tracing is on.
template <class T>
void CKaTraceFile::WriteMarker(const wchar_t* format, T value)
{
    if (!m_enabled) return;
    WriteSeparator();
    WriteStamped(format, value);
    WriteSeparator();
    AfterBlock();
}

void CKaTraceFile::WriteSeparator()
{
    WritePiece(g_separator);
}

void CKaTraceFile::WriteSettings()
{
    WriteFormat(L"\n***** Tracking: %s", OnOff(m_tracking));
    for (unsigned long i = 0; i < m_categoryCount; ++i) {
        WriteFormat(L"\n***** Category %s: %s", m_categories[i].name.getSz(),
                    OnOff(m_categories[i].enabled));
    }
}

void CKaTraceFile::WriteEnabledBlock(bool starting)
{
    WriteSeparator();
    WriteStamped(L"\n***** %s trace at " KA_TRACE_STAMP, starting ? L"Starting" : L"Stopping");
    if (starting) WriteSettings();
    WriteSeparator();
}

void CKaTraceFile::WriteContinuation()
{
    WriteSeparator();
    WriteStamped(L"\n***** Continuing trace here at " KA_TRACE_STAMP);
    WriteSettings();
    WriteSeparator();
}

void CKaTraceFile::AfterBlock()
{
    CheckRotation();
    if (!m_keepFileOpen) CloseFile();
}

// One generation is kept: the full file becomes the ".otc" file, replacing the previous one,
// and the trace goes on in a new file that starts by restating the settings.
void CKaTraceFile::CheckRotation()
{
    if (!m_enabled || !m_file || m_maxFileSizeKB == 0) return;
    const long size = std::ftell(m_file);
    if (size < 0 || static_cast<unsigned long>(size) / 1024 < m_maxFileSizeKB) return;
    CloseFile();
    _wremove(m_oldPath);
    _wrename(m_path, m_oldPath);
    WriteContinuation();
}

void CKaTraceFile::CloseFile()
{
    if (!m_file) return;
    std::fclose(m_file);
    m_file = nullptr;
}
