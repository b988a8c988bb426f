#ifndef ZELKA_TESTS_IO_KAFAKESTREAM_H
#define ZELKA_TESTS_IO_KAFAKESTREAM_H

#include <algorithm>
#include <cstring>
#include <utility>
#include "katest.h"

// A COM stream over a byte vector that takes any 64-bit position and counts its calls. It can
// hand out reads in small pieces, write short, claim a size it does not have and fail.
class CFakeStream : public IStream
{
public:
    explicit CFakeStream(TKaBytes initial = {}) : bytes(std::move(initial)) {}

    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* read) override
    {
        ++reads;
        const unsigned __int64 rest = position < bytes.size() ? bytes.size() - position : 0;
        *read = static_cast<ULONG>(std::min<unsigned __int64>({count, readPiece, rest}));
        if (*read) std::memcpy(buffer, bytes.data() + position, *read);
        position += *read;
        return failure;
    }
    HRESULT STDMETHODCALLTYPE Write(const void* data, ULONG count, ULONG* written) override
    {
        ++writes;
        *written = std::min(count, writeLimit);
        if (bytes.size() < position + *written) bytes.resize(position + *written);
        if (*written) std::memcpy(bytes.data() + position, data, *written);
        position += *written;
        return failure;
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* pos) override
    {
        if (FAILED(failure)) return failure;
        const unsigned __int64 end = size ? size : bytes.size();
        position = (origin == STREAM_SEEK_SET ? 0 : origin == STREAM_SEEK_CUR ? position : end) +
                   move.QuadPart;
        if (pos) pos->QuadPart = position;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** out) override
    {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    using U = ULARGE_INTEGER;
    HRESULT STDMETHODCALLTYPE SetSize(U) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, U, U*, U*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(U, U, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(U, U, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

    TKaBytes bytes;
    unsigned __int64 position = 0;
    unsigned __int64 size = 0; // the size claimed; 0 for the bytes' own
    ULONG readPiece = 0xFFFFFFFF;
    ULONG writeLimit = 0xFFFFFFFF;
    HRESULT failure = S_OK;
    ULONG refs = 1;
    int reads = 0;
    int writes = 0;
};

#endif
