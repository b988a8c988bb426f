#ifndef ZELKA_AUTOMATION_KANODERULES_H
#define ZELKA_AUTOMATION_KANODERULES_H

#include "zelka/kaexception.h"

// The sharing rules of the automation wrappers' nodes, written once for both of them. A node
// has `lockMode` and an interlocked `refCount`; `Payload` knows how to copy a node's content
// into a fresh node (`Duplicate`, which throws and leaves nothing behind when it fails) and how
// to free a node with its content (`Free`).
template <class Node, class Payload>
struct TKaNodeRules
{
    static bool IsLocked(const Node* node) { return node && node->lockMode != KaLockNone; }

    // Lets go of the holder's node without looking at its lock: the destructor's way.
    static void Detach(Node*& slot) noexcept
    {
        Node* node = slot;
        slot = nullptr;
        if (node && InterlockedDecrement(&node->refCount) < 1) Payload::Free(node);
    }

    // Lets go of the holder's node; a node locked in place stays where it is.
    static void Release(Node*& slot)
    {
        if (slot) KaCheckNotLockedInPlace(slot->lockMode);
        Detach(slot);
    }

    // Installs a node nobody holds yet in place of the current one. When the current node
    // cannot be let go the fresh node is freed and the holder keeps what it had.
    static void Install(Node*& slot, Node* fresh)
    {
        try {
            Release(slot);
        } catch (...) {
            Payload::Free(fresh);
            throw;
        }
        fresh->refCount = 1;
        slot = fresh;
    }

    // Shares `node` (which is not the holder's own node).
    static void Share(Node*& slot, Node* node)
    {
        Release(slot);
        if (node) InterlockedIncrement(&node->refCount);
        slot = node;
    }

    // Assignment from another holder's node: shares it, unless either node is locked. A locked
    // node is never shared, as its holder may be writing through a raw pointer: then the other
    // node's content is copied in (`copy(node)`), or, when the other holder has no node, this
    // holder's content is cleared (`clear()`).
    template <class Copy, class Clear>
    static void Assign(Node*& slot, Node* other, Copy&& copy, Clear&& clear)
    {
        if (other == slot) return;
        if (IsLocked(slot) || IsLocked(other)) {
            if (other) {
                copy(*other);
            } else {
                clear();
            }
            return;
        }
        Share(slot, other);
    }

    // A node of the holder's own: a copy of a shared one, or when there is none the blank node
    // that `installBlank()` installs.
    template <class InstallBlank>
    static Node* MakePrivate(Node*& slot, InstallBlank&& installBlank)
    {
        if (slot) {
            Unshare(slot);
        } else {
            installBlank();
        }
        return slot;
    }

    static void SetLock(Node* node, bool exclusive)
    {
        node->lockMode = exclusive ? KaLockInPlace : KaLockLocked;
    }

    static void ClearLock(Node* node)
    {
        if (node) node->lockMode = KaLockNone;
    }

    // Gives a holder that shares its node a private copy of it.
    static void Unshare(Node*& slot)
    {
        if (!slot || slot->refCount <= 1) return;
        Node* copy = Payload::Duplicate(*slot);
        copy->refCount = 1;
        Detach(slot);
        slot = copy;
    }
};

#endif
