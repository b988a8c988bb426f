#include "katraceconfig.h"
#include <shlobj.h>

namespace {

// A registry key handle closed when it goes out of scope.
class CKaTraceKey
{
public:
    // Creates the key for reading and writing; a key we may not write is still read.
    CKaTraceKey(HKEY parent, const wchar_t* name) : m_key(nullptr)
    {
        if (!parent) return;
        if (RegCreateKeyExW(parent, name, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &m_key,
                            nullptr) == ERROR_SUCCESS) {
            return;
        }
        if (RegOpenKeyExW(parent, name, 0, KEY_READ, &m_key) != ERROR_SUCCESS) m_key = nullptr;
    }
    ~CKaTraceKey()
    {
        if (m_key) RegCloseKey(m_key);
    }
    CKaTraceKey(const CKaTraceKey&) = delete;
    CKaTraceKey& operator=(const CKaTraceKey&) = delete;

    HKEY get() const { return m_key; }

private:
    HKEY m_key;
};

struct TKaDwordSetting
{
    const wchar_t* name;
    DWORD TKaTraceConfig::*field;
    const wchar_t* comment;
};

const TKaDwordSetting g_dwordSettings[] = {
    {L"Enabled", &TKaTraceConfig::enabled, L"0: tracing disabled\r\n1: tracing enabled"},
    {L"Tracking", &TKaTraceConfig::tracking, L"0: tracking disabled\r\n1: tracking enabled"},
    {L"CategoryMask", &TKaTraceConfig::categoryMask, L"Module specific category bitmask."},
    {L"MaxFileSize", &TKaTraceConfig::maxFileSizeKB, L"Maximum trace file size in KB."},
    {L"KeepFileOpen", &TKaTraceConfig::keepFileOpen,
     L"0: close file after write\r\n1: keep file open after write"},
};

const wchar_t g_targetPathName[] = L"TargetPath";
const wchar_t g_targetPathComment[] = L"The path to the folder where the trace files are located";

void ReadDword(HKEY key, const wchar_t* name, DWORD& value)
{
    DWORD data = 0;
    DWORD size = sizeof(data);
    if (RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&data), &size) ==
            ERROR_SUCCESS &&
        size == sizeof(data)) {
        value = data;
    }
}

// Only a proper string counts: a string type, whole characters and a terminator at the end.
void ReadTargetPath(HKEY key, TKaTraceConfig& config)
{
    wchar_t data[MAX_PATH + 1];
    DWORD size = sizeof(data);
    DWORD type = REG_NONE;
    if (RegQueryValueExW(key, g_targetPathName, nullptr, &type, reinterpret_cast<BYTE*>(data),
                         &size) != ERROR_SUCCESS) {
        return;
    }
    if (type != REG_SZ && type != REG_EXPAND_SZ) return;
    if (size < sizeof(wchar_t) || size % sizeof(wchar_t) != 0) return;
    if (data[size / sizeof(wchar_t) - 1] != 0) return;
    lstrcpynW(config.targetPath, data, MAX_PATH + 1);
    config.targetPathType = type;
}

void WriteString(HKEY key, const wchar_t* name, const wchar_t* text, DWORD type = REG_SZ)
{
    const DWORD size = static_cast<DWORD>((lstrlenW(text) + 1) * sizeof(wchar_t));
    RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text), size);
}

void WriteBack(HKEY key, const TKaTraceConfig& config)
{
    CKaString commentName;
    for (const TKaDwordSetting& setting : g_dwordSettings) {
        const DWORD value = config.*setting.field;
        RegSetValueExW(key, setting.name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                       sizeof(value));
        WriteString(key, CKaString::Build(L"%sComment", setting.name), setting.comment);
    }
    // An expandable path stays expandable for whoever else reads it.
    WriteString(key, g_targetPathName, config.targetPath, config.targetPathType);
    WriteString(key, CKaString::Build(L"%sComment", g_targetPathName), g_targetPathComment);
}

bool IsDirectory(const wchar_t* path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

} // namespace

void KaReadTraceConfig(const wchar_t* registryKey, TKaTraceConfig& config)
{
    CKaTraceKey base(HKEY_CURRENT_USER, registryKey);
    CKaTraceKey trace(base.get(), L"Trace");
    if (!trace.get()) return;
    for (const TKaDwordSetting& setting : g_dwordSettings) {
        ReadDword(trace.get(), setting.name, config.*setting.field);
    }
    ReadTargetPath(trace.get(), config);
    WriteBack(trace.get(), config);
}

CKaString KaFindTraceFolder(int csidl, const wchar_t* subFolder)
{
    wchar_t root[MAX_PATH];
    if (SHGetFolderPathW(nullptr, csidl | CSIDL_FLAG_CREATE, nullptr, 0, root) != S_OK) {
        return CKaString();
    }
    CKaString folder = CKaString::Build(L"%s\\%s", root, subFolder ? subFolder : L"");
    const int created = SHCreateDirectoryExW(nullptr, folder, nullptr);
    if (created == ERROR_SUCCESS) return folder;
    if ((created == ERROR_FILE_EXISTS || created == ERROR_ALREADY_EXISTS) && IsDirectory(folder)) {
        return folder;
    }
    return CKaString();
}
