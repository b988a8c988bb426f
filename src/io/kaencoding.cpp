#include "zelka/kaencoding.h"
#include "zelka/kaexception.h"
#include "kacodepage.h"

CKaEncoding::CKaEncoding(unsigned short codePage) : m_codePage(codePage) {}

CKaString CKaEncoding::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.encoding", CKaObject::getObjectTypeInfo());
}

unsigned short CKaEncoding::getCodePage() const
{
    return m_codePage;
}

// UTF-8

CKaUtf8Encoding::CKaUtf8Encoding() : CKaEncoding(CP_UTF8) {}

CKaString CKaUtf8Encoding::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.utf8encoding", CKaEncoding::getObjectTypeInfo());
}

CKaByteBuffer CKaUtf8Encoding::GetBytes(CKaString text, wchar_t)
{
    return KaEncodeUnits(CP_UTF8, text.getSz(), text.getLength(), nullptr, nullptr);
}

CKaByteBuffer CKaUtf8Encoding::GetBytes(CKaString text, bool)
{
    return GetBytes(text, L'\0');
}

CKaString CKaUtf8Encoding::GetText(CKaByteBuffer bytes, bool failOnInvalid)
{
    return KaDecodeCodePage(CP_UTF8, failOnInvalid ? MB_ERR_INVALID_CHARS : 0, bytes);
}

CKaRef<CKaEncodingDecoder> CKaUtf8Encoding::CreateDecoder(CKaRef<IKaStream> stream)
{
    return new CKaUtf8EncodingDecoder(stream);
}

CKaRef<CKaEncodingEncoder> CKaUtf8Encoding::CreateEncoder(CKaRef<IKaStream> stream)
{
    return new CKaUtf8EncodingEncoder(stream);
}

// UTF-16

CKaUtf16Encoding::CKaUtf16Encoding(bool bigEndian)
    : CKaEncoding(bigEndian ? 1201 : 1200), m_bigEndian(bigEndian)
{
}

CKaString CKaUtf16Encoding::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.utf16encoding", CKaEncoding::getObjectTypeInfo());
}

bool CKaUtf16Encoding::getBigEndian() const
{
    return m_bigEndian;
}

CKaByteBuffer CKaUtf16Encoding::GetBytes(CKaString text, wchar_t replacement)
{
    const wchar_t* units = text.getSz();
    const unsigned long length = text.getLength();
    if (length == 0) return CKaByteBuffer();
    CKaByteBuffer bytes(2 * length);
    unsigned char* target = bytes.Unshare();
    unsigned long written = 0;
    auto put = [&](wchar_t unit) {
        KaUnitsToBytes(&unit, 1, m_bigEndian, target + 2 * written++);
    };
    for (unsigned long i = 0; i < length; ++i) {
        const wchar_t unit = units[i];
        if (KaIsLowSurrogate(unit) || (KaIsHighSurrogate(unit) && i + 1 == length)) {
            put(replacement);
        } else if (!KaIsHighSurrogate(unit)) {
            put(unit);
        } else if (units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFE) {
            // U+DFFF is not taken as a partner here, unlike in ValidateText.
            put(unit);
            put(units[++i]);
        } else {
            // The unit after an unpaired high surrogate goes with it.
            put(replacement);
            ++i;
        }
    }
    return written == length ? bytes : CKaByteBuffer(bytes.getBuffer(), 2 * written);
}

CKaByteBuffer CKaUtf16Encoding::GetBytes(CKaString text, bool validate)
{
    if (validate) ValidateText(text);
    const unsigned long length = text.getLength();
    if (length == 0) return CKaByteBuffer();
    CKaByteBuffer bytes(2 * length);
    KaUnitsToBytes(text.getSz(), length, m_bigEndian, bytes.Unshare());
    return bytes;
}

CKaString CKaUtf16Encoding::GetText(CKaByteBuffer bytes, bool validate)
{
    if (bytes.getSize() % 2) throw CKaCodeException(KA_E_COUNT_OUT_OF_RANGE);
    // Extraction swaps each unit's bytes when asked to, which turns big-endian units into the
    // machine's order.
    CKaString text = bytes.ExtractChars(m_bigEndian);
    if (validate) ValidateText(text);
    return text;
}

CKaRef<CKaEncodingDecoder> CKaUtf16Encoding::CreateDecoder(CKaRef<IKaStream> stream)
{
    return new CKaUtf16EncodingDecoder(m_bigEndian, stream);
}

CKaRef<CKaEncodingEncoder> CKaUtf16Encoding::CreateEncoder(CKaRef<IKaStream> stream)
{
    return new CKaUtf16EncodingEncoder(m_bigEndian, stream);
}

void CKaUtf16Encoding::ValidateText(CKaString text)
{
    const wchar_t* units = text.getSz();
    const unsigned long length = text.getLength();
    for (unsigned long i = 0; i < length; ++i) {
        if (KaIsLowSurrogate(units[i])) throw CKaCodeException(KA_E_INVALID_UTF16);
        if (!KaIsHighSurrogate(units[i])) continue;
        if (i + 1 == length || !KaIsLowSurrogate(units[i + 1])) {
            throw CKaCodeException(KA_E_INVALID_UTF16);
        }
        ++i;
    }
}

// Multi-byte code pages

CKaMultiByteEncoding::CKaMultiByteEncoding(unsigned short codePage) : CKaEncoding(codePage) {}

CKaString CKaMultiByteEncoding::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.multibyteencoding", CKaEncoding::getObjectTypeInfo());
}

CKaByteBuffer CKaMultiByteEncoding::GetBytes(CKaString text, wchar_t replacement)
{
    // The replacement's own bytes become the default character of the conversion.
    char defaultChar[11] = {};
    BOOL usedDefault = FALSE;
    KaUnitsToCodePage(getCodePage(), &replacement, 1, reinterpret_cast<unsigned char*>(defaultChar),
                      10, nullptr, &usedDefault);
    if (usedDefault) throw CKaCodeException(KA_E_DEFAULT_CHAR_USED);
    return KaEncodeUnits(getCodePage(), text.getSz(), text.getLength(), defaultChar, nullptr);
}

CKaByteBuffer CKaMultiByteEncoding::GetBytes(CKaString text, bool failOnInvalid)
{
    BOOL usedDefault = FALSE;
    CKaByteBuffer bytes = KaEncodeUnits(getCodePage(), text.getSz(), text.getLength(), nullptr,
                                        failOnInvalid ? &usedDefault : nullptr);
    if (usedDefault) throw CKaCodeException(E_INVALIDARG);
    return bytes;
}

CKaString CKaMultiByteEncoding::GetText(CKaByteBuffer bytes, bool failOnInvalid)
{
    return KaDecodeCodePage(getCodePage(), failOnInvalid ? MB_ERR_INVALID_CHARS : 0, bytes);
}

CKaRef<CKaEncodingDecoder> CKaMultiByteEncoding::CreateDecoder(CKaRef<IKaStream> stream)
{
    return new CKaMultiByteEncodingDecoder(getCodePage(), stream);
}

CKaRef<CKaEncodingEncoder> CKaMultiByteEncoding::CreateEncoder(CKaRef<IKaStream> stream)
{
    return new CKaMultiByteEncodingEncoder(getCodePage(), stream);
}
