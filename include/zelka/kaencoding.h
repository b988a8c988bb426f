#ifndef ZELKA_KAENCODING_H
#define ZELKA_KAENCODING_H

#include "kabytebuffer.h"
#include "kaencodingdecoder.h"
#include "kaencodingencoder.h"
#include "kastream.h"

// A character encoding named by its code page: 65001 UTF-8, 1200 and 1201 UTF-16 little and
// big endian, any other number a Windows code page. It converts whole buffers and makes the
// decoders and encoders that convert a stream piece by piece. No encoding reads or writes a
// byte-order mark. Encodings never change after construction and may be shared by threads.
class ZELKA_API CKaEncoding : public CKaObject
{
public:
    CKaString getObjectTypeInfo() override;
    unsigned short getCodePage() const;

    // Characters the encoding cannot represent become `replacement`.
    virtual CKaByteBuffer GetBytes(CKaString text, wchar_t replacement) = 0;
    virtual CKaByteBuffer GetBytes(CKaString text, bool failOnInvalid) = 0;
    virtual CKaString GetText(CKaByteBuffer bytes, bool failOnInvalid) = 0;
    virtual CKaRef<CKaEncodingDecoder> CreateDecoder(CKaRef<IKaStream> stream) = 0;
    virtual CKaRef<CKaEncodingEncoder> CreateEncoder(CKaRef<IKaStream> stream) = 0;

protected:
    explicit CKaEncoding(unsigned short codePage);

private:
    const unsigned short m_codePage;
};

class ZELKA_API CKaUtf8Encoding : public CKaEncoding
{
public:
    CKaUtf8Encoding();
    CKaString getObjectTypeInfo() override;

    // Both forms convert alike: a character UTF-8 cannot hold (a lone surrogate) becomes the
    // system's U+FFFD; the second argument is not used.
    CKaByteBuffer GetBytes(CKaString text, wchar_t replacement) override;
    CKaByteBuffer GetBytes(CKaString text, bool failOnInvalid) override;
    // Without failOnInvalid, invalid bytes become U+FFFD as the system converts them; with
    // it, they throw the system's error.
    CKaString GetText(CKaByteBuffer bytes, bool failOnInvalid) override;
    CKaRef<CKaEncodingDecoder> CreateDecoder(CKaRef<IKaStream> stream) override;
    CKaRef<CKaEncodingEncoder> CreateEncoder(CKaRef<IKaStream> stream) override;
};

class ZELKA_API CKaUtf16Encoding : public CKaEncoding
{
public:
    explicit CKaUtf16Encoding(bool bigEndian);
    CKaString getObjectTypeInfo() override;
    bool getBigEndian() const;

    // Two bytes per unit; an unpaired surrogate is written as `replacement`, and a high
    // surrogate followed by anything but U+DC00 to U+DFFE takes that unit with it.
    CKaByteBuffer GetBytes(CKaString text, wchar_t replacement) override;
    // With validate, unpaired surrogates throw (ValidateText) before anything is converted.
    CKaByteBuffer GetBytes(CKaString text, bool validate) override;
    // An odd byte count throws; with validate, so do unpaired surrogates.
    CKaString GetText(CKaByteBuffer bytes, bool validate) override;
    CKaRef<CKaEncodingDecoder> CreateDecoder(CKaRef<IKaStream> stream) override;
    CKaRef<CKaEncodingEncoder> CreateEncoder(CKaRef<IKaStream> stream) override;
    // Throws at the first unpaired surrogate.
    virtual void ValidateText(CKaString text);

private:
    const bool m_bigEndian;
};

class ZELKA_API CKaMultiByteEncoding : public CKaEncoding
{
public:
    explicit CKaMultiByteEncoding(unsigned short codePage);
    CKaString getObjectTypeInfo() override;

    // Characters without a mapping become `replacement`, which must itself have one.
    CKaByteBuffer GetBytes(CKaString text, wchar_t replacement) override;
    // With failOnInvalid a character without a mapping throws; without, it becomes the code
    // page's default character.
    CKaByteBuffer GetBytes(CKaString text, bool failOnInvalid) override;
    CKaString GetText(CKaByteBuffer bytes, bool failOnInvalid) override;
    CKaRef<CKaEncodingDecoder> CreateDecoder(CKaRef<IKaStream> stream) override;
    CKaRef<CKaEncodingEncoder> CreateEncoder(CKaRef<IKaStream> stream) override;
};

// The process-wide registry of standard encodings, one per code page. The library fills it
// when it is loaded (UTF-8, UTF-16 in both byte orders and 34 Windows code pages) and empties
// it when it is unloaded. Get, Add and Remove throw E_POINTER while it does not exist.
ZELKA_API void KaInitializeStandardEncodings();
// Creates the registry when there is none and registers the standard encodings in their
// order: UTF-8, UTF-16 little and big endian, then the 34 Windows code pages.
ZELKA_API void KaRegisterStandardEncodings();
// Stores the encoding under its code page, in place of any earlier one.
ZELKA_API void KaAddStandardEncoding(CKaRef<CKaEncoding> encoding);
// The encoding registered for the code page, or a null reference.
ZELKA_API CKaRef<CKaEncoding> KaGetStandardEncoding(unsigned short codePage);
ZELKA_API CKaRef<CKaEncoding> KaGetUtf8Encoding();
ZELKA_API CKaRef<CKaEncoding> KaGetUtf16Encoding(bool bigEndian);
ZELKA_API void KaRemoveStandardEncoding(unsigned short codePage);
ZELKA_API void KaCleanupStandardEncodings();

#endif
