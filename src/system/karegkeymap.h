#ifndef ZELKA_SRC_SYSTEM_KAREGKEYMAP_H
#define ZELKA_SRC_SYSTEM_KAREGKEYMAP_H

// The process-wide map from registry handle to key object, with its lock: made when the library
// is attached to a process and destroyed when it is detached.
void KaCreateRegKeyMap();
void KaDestroyRegKeyMap();

#endif
