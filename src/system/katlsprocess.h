#ifndef ZELKA_SYSTEM_KATLSPROCESS_H
#define ZELKA_SYSTEM_KATLSPROCESS_H

// The library's own thread-local-storage manager, driven by the DLL entry point.

// At process attach.
void KaCreateProcessTlsManager();
// At process detach. `unloading` is true when the library is unloaded from a process that goes
// on: the containers of threads still alive are released too. When the process itself ends,
// those threads are gone and only the calling thread's container is released.
void KaReleaseProcessTlsManager(bool unloading);
// On every thread that ends while the library is loaded.
void KaProcessThreadDetached();

#endif
