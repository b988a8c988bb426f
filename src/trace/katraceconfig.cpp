#include "katraceconfig.h"
#include <shlobj.h>
#include "zelka/kaexception.h"
#include "zelka/karegkey.h"

namespace {

// Runs one registry step of reading or writing the settings. A step that fails leaves its
// setting at what it was; only running out of memory is not the registry's answer and goes on.
template <class Step>
bool TryRegistry(Step step)
{
    try {
        step();
        return true;
    } catch (const CKaException& e) {
        if (e.getCode() == E_OUTOFMEMORY) throw;
        return false;
    }
}

// Created for reading and writing; a key we may not write is still read. Null when it can be
// neither created nor opened.
template <class OpenKey>
CKaRef<CKaRegKey> OpenTraceKey(OpenKey open)
{
    CKaRef<CKaRegKey> key;
    if (TryRegistry([&] { key = open(true, KEY_READ | KEY_WRITE); })) return key;
    TryRegistry([&] { key = open(false, KEY_READ); });
    return key;
}

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

// Whatever four bytes the user stored, as the settings have always been read.
void ReadDword(CKaRegKey& key, const wchar_t* name, DWORD& value)
{
    DWORD data = 0;
    DWORD size = sizeof(data);
    DWORD type = REG_NONE;
    bool found = false;
    TryRegistry([&] { found = key.QueryValue(name, type, &data, size); });
    if (found && size == sizeof(data)) value = data;
}

// Only a proper string counts: a string type, whole characters and a terminator at the end.
void ReadTargetPath(CKaRegKey& key, TKaTraceConfig& config)
{
    wchar_t data[MAX_PATH + 1];
    DWORD size = sizeof(data);
    DWORD type = REG_NONE;
    bool found = false;
    TryRegistry([&] { found = key.QueryValue(g_targetPathName, type, data, size); });
    if (!found) return;
    if (type != REG_SZ && type != REG_EXPAND_SZ) return;
    if (size < sizeof(wchar_t) || size % sizeof(wchar_t) != 0) return;
    if (data[size / sizeof(wchar_t) - 1] != 0) return;
    lstrcpynW(config.targetPath, data, MAX_PATH + 1);
    config.targetPathType = type;
}

// Each value on its own: one the registry refuses does not keep the others from being written.
void WriteBack(CKaRegKey& key, const TKaTraceConfig& config)
{
    for (const TKaDwordSetting& setting : g_dwordSettings) {
        TryRegistry([&] { key.WriteU4(setting.name, config.*setting.field); });
        TryRegistry([&] {
            key.WriteString(CKaString::Build(L"%sComment", setting.name), setting.comment);
        });
    }
    // An expandable path stays expandable for whoever else reads it.
    const DWORD pathSize = static_cast<DWORD>((lstrlenW(config.targetPath) + 1) * sizeof(wchar_t));
    TryRegistry([&] {
        key.WriteValue(g_targetPathName, config.targetPathType, config.targetPath, pathSize);
    });
    TryRegistry([&] {
        key.WriteString(CKaString::Build(L"%sComment", g_targetPathName), g_targetPathComment);
    });
}

bool IsDirectory(const wchar_t* path)
{
    const DWORD attributes = GetFileAttributesW(path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

} // namespace

void KaReadTraceConfig(const wchar_t* registryKey, TKaTraceConfig& config)
{
    CKaRef<CKaRegKey> base = OpenTraceKey([&](bool create, DWORD access) {
        return CKaRef<CKaRegKey>(new CKaRegKey(KaRegCurrentUser, registryKey, access, create));
    });
    if (!base) return;
    CKaRef<CKaRegKey> trace = OpenTraceKey([&](bool create, DWORD access) {
        return create ? base->OpenOrCreateSubKey(L"Trace", access)
                      : base->OpenSubKey(L"Trace", access);
    });
    if (!trace) return;
    for (const TKaDwordSetting& setting : g_dwordSettings) {
        ReadDword(*trace, setting.name, config.*setting.field);
    }
    ReadTargetPath(*trace, config);
    WriteBack(*trace, config);
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
