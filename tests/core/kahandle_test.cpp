#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include "katest.h"

namespace {

bool IsOpenHandle(HANDLE handle)
{
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

HANDLE NewEvent()
{
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

} // namespace

// Closing keeps the thread's last error, so a failure path can give back what it holds and
// still report why it failed.
TEST(KaOwnedHandle, ClosesWhatItHoldsAndKeepsTheLastError)
{
    HANDLE event = NewEvent();
    ASSERT_TRUE(IsOpenHandle(event));
    {
        CKaOwnedKernelHandle owned(event);
        SetLastError(ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(static_cast<DWORD>(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_FALSE(IsOpenHandle(event));

    CKaOwnedLocal memory(LocalAlloc(LMEM_FIXED, 16));
    ASSERT_TRUE(memory.IsValid());
    SetLastError(ERROR_ACCESS_DENIED);
    memory.Reset();
    EXPECT_EQ(static_cast<DWORD>(ERROR_ACCESS_DENIED), GetLastError());
    EXPECT_FALSE(memory.IsValid());

    CKaOwnedRegKey key;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_CURRENT_USER, L"Software", 0, KEY_READ,
                                           key.Receive()));
    EXPECT_TRUE(key);
    SetLastError(ERROR_INVALID_DATA);
    key.Reset();
    EXPECT_EQ(static_cast<DWORD>(ERROR_INVALID_DATA), GetLastError());
}

TEST(KaOwnedHandle, ReleaseHandsOutResetAndMoveHandOver)
{
    HANDLE first = NewEvent();
    HANDLE second = NewEvent();
    CKaOwnedKernelHandle owned(first);
    // Taking the same handle again must not close it.
    owned.Reset(first);
    EXPECT_TRUE(IsOpenHandle(first));
    owned.Reset(second);
    EXPECT_FALSE(IsOpenHandle(first));
    EXPECT_EQ(second, owned.Get());

    CKaOwnedKernelHandle moved(std::move(owned));
    EXPECT_FALSE(owned.IsValid());
    EXPECT_EQ(second, moved.Get());
    // Receive closes what was held before the system writes into it.
    HANDLE* slot = moved.Receive();
    EXPECT_FALSE(IsOpenHandle(second));
    EXPECT_EQ(nullptr, *slot);

    HANDLE third = NewEvent();
    {
        CKaOwnedKernelHandle kept(third);
        EXPECT_EQ(third, kept.Release());
        EXPECT_FALSE(kept);
    }
    EXPECT_TRUE(IsOpenHandle(third));
    CloseHandle(third);
    // The failure value of file functions is never taken for a handle.
    EXPECT_FALSE(CKaOwnedKernelHandle(INVALID_HANDLE_VALUE).IsValid());
}

TEST(KaSectionGuard, HoldsTheSectionForItsScopeOnly)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    auto freeElsewhere = [&] {
        bool entered = false;
        std::thread other([&] {
            entered = TryEnterCriticalSection(&section) != FALSE;
            if (entered) LeaveCriticalSection(&section);
        });
        other.join();
        return entered;
    };
    {
        CKaSectionGuard guard(section);
        EXPECT_FALSE(freeElsewhere());
    }
    EXPECT_TRUE(freeElsewhere());
    DeleteCriticalSection(&section);
}
