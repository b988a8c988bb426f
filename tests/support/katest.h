#ifndef ZELKA_TESTS_KATEST_H
#define ZELKA_TESTS_KATEST_H

#include <ostream>
#include <string>
#include <vector>
#include <zelka/zelka.h>

// Lets GoogleTest show strings in failure messages (non-ASCII units as \uXXXX).
inline void PrintTo(const CKaString& s, std::ostream* os)
{
    *os << '"';
    for (unsigned long i = 0; i < s.getLength(); ++i) {
        const unsigned ch = s.getSz()[i];
        if (ch >= 0x20 && ch < 0x7F) {
            *os << static_cast<char>(ch);
        } else {
            const char* digits = "0123456789ABCDEF";
            *os << "\\u" << digits[(ch >> 12) & 15] << digits[(ch >> 8) & 15]
                << digits[(ch >> 4) & 15] << digits[ch & 15];
        }
    }
    *os << '"';
}

// Every unit of a string, embedded zeros included, for exact comparisons.
inline std::wstring Units(const CKaString& s)
{
    return std::wstring(s.getSz(), s.getLength());
}

using TKaBytes = std::vector<unsigned char>;

// Every byte of a buffer, for exact comparisons.
inline TKaBytes Bytes(const CKaSimpleBuffer<unsigned char>& buffer)
{
    return TKaBytes(buffer.getBuffer(), buffer.getBuffer() + buffer.getSize());
}

// The library's test seam for exhausted memory (see src/core/kaallocation.cpp).
extern "C" __declspec(dllimport) void ZelkaInternalFailAllocations(long fail);

// Every allocation of the library fails while one of these lives.
class CKaFailingAllocations
{
public:
    CKaFailingAllocations() { ZelkaInternalFailAllocations(1); }
    ~CKaFailingAllocations() { ZelkaInternalFailAllocations(0); }
    CKaFailingAllocations(const CKaFailingAllocations&) = delete;
    CKaFailingAllocations& operator=(const CKaFailingAllocations&) = delete;
};

// The status code a call throws as CKaException, or S_OK when it throws nothing.
template <class F>
long ThrownCode(F&& call)
{
    try {
        call();
    } catch (const CKaException& e) {
        return e.getCode();
    }
    return S_OK;
}

#endif
