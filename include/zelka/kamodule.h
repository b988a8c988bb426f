#ifndef ZELKA_KAMODULE_H
#define ZELKA_KAMODULE_H

#include "kaexport.h"
#include "kaobject.h"

// A counted handle on one loaded executable module. A module this object loaded itself (or was
// handed as its owner) is freed at the last release; a borrowed one is only forgotten.
class ZELKA_API CKaModule : public CKaObject
{
public:
    CKaModule();
    // Loads the library at `path`; a failure is thrown and no object is made.
    explicit CKaModule(CKaString path);

    // Gives the module back: frees it when owned, forgets it otherwise.
    void FinalRelease() override;
    virtual void Discard();

    // Loads `path` first; only once that succeeded is the module held before discarded.
    void Load(CKaString path);
    // Hands the handle (and the duty to free it) to the caller; nothing is freed.
    HINSTANCE Detach();
    // Frees an owned module; a borrowed one is refused with E_FAIL.
    void Free();
    void DropOwnership();

    HINSTANCE getHandle() const;
    bool getIsAttached() const;
    bool getIsOwner() const;

    // A new object for every call, even for the same handle: pass `owner` true at most once per
    // handle. A null handle gives a null reference.
    static CKaRef<CKaModule> FromHandle(HINSTANCE module, bool owner);

    // The module's file as the loader knows it (up to 519 characters).
    CKaString getFilePath() const;
    // The folder of getFilePath(), without a trailing backslash.
    CKaString getFolderPath() const;

protected:
    CKaModule(HINSTANCE module, bool owner);
    ~CKaModule() override;

    // Discards what is held, then holds `module` (a null module leaves the object detached).
    void Attach(HINSTANCE module, bool owner);

private:
    HINSTANCE m_module;
    bool m_owner;
};

#endif
