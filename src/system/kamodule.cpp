#include "zelka/kamodule.h"
#include <cwchar>
#include <shlwapi.h>
#include "zelka/kaexception.h"

namespace {

// Room the loader gets for a module's path; a longer path comes back cut to what fits.
const DWORD kPathBufferSize = 520;

} // namespace

CKaModule::CKaModule() : m_module(nullptr), m_owner(false) {}

CKaModule::CKaModule(CKaString path) : CKaModule()
{
    Load(path);
}

CKaModule::CKaModule(HINSTANCE module, bool owner) : CKaModule()
{
    Attach(module, owner);
}

CKaModule::~CKaModule() = default;

void CKaModule::FinalRelease()
{
    Discard();
}

void CKaModule::Discard()
{
    if (m_owner) {
        Free();
    } else {
        m_module = nullptr;
        m_owner = false;
    }
}

void CKaModule::Load(CKaString path)
{
    HINSTANCE module = ::LoadLibraryW(path.getSz());
    if (!module) KaThrowLastError();
    Discard();
    m_module = module;
    m_owner = true;
}

void CKaModule::Attach(HINSTANCE module, bool owner)
{
    Discard();
    if (module) {
        m_module = module;
        m_owner = owner;
    }
}

HINSTANCE CKaModule::Detach()
{
    HINSTANCE module = m_module;
    m_module = nullptr;
    m_owner = false;
    return module;
}

void CKaModule::Free()
{
    if (m_module && !m_owner) throw CKaCodeException(E_FAIL);
    HINSTANCE module = Detach();
    // Nothing useful can be done about a module the loader refuses to free.
    if (module) ::FreeLibrary(module);
}

void CKaModule::DropOwnership()
{
    if (m_module) m_owner = false;
}

HINSTANCE CKaModule::getHandle() const
{
    return m_module;
}

bool CKaModule::getIsAttached() const
{
    return m_module != nullptr;
}

bool CKaModule::getIsOwner() const
{
    return m_owner;
}

CKaRef<CKaModule> CKaModule::FromHandle(HINSTANCE module, bool owner)
{
    if (!module) return CKaRef<CKaModule>();
    return new CKaModule(module, owner);
}

CKaString CKaModule::getFilePath() const
{
    if (!m_module) throw CKaCodeException(E_FAIL);
    wchar_t buffer[kPathBufferSize];
    const DWORD length = ::GetModuleFileNameW(m_module, buffer, kPathBufferSize);
    if (length == 0) KaThrowLastError();
    // A cut path may come back with or without a terminator: the text ends at the first 0
    // within what the system wrote.
    return CKaString(buffer, static_cast<unsigned long>(wcsnlen(buffer, length)));
}

CKaString CKaModule::getFolderPath() const
{
    CKaString path = getFilePath();
    wchar_t* text = path.Lock(false);
    const bool removed = ::PathRemoveFileSpecW(text) != FALSE;
    path.UnlockFindNull();
    if (!removed) throw CKaCodeException(KA_E_NO_FOLDER_IN_PATH);
    return path;
}
