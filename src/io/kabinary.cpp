#include "zelka/kabinary.h"

// ---- the shared aspect ----------------------------------------------------------------------

CKaStreamerAspect::CKaStreamerAspect(CKaRef<IKaStream> stream) : m_stream(stream) {}

CKaStreamerAspect::~CKaStreamerAspect() = default;

IKaStream& CKaStreamerAspect::Stream() const
{
    return *m_stream;
}

CKaRef<IKaStream> CKaStreamerAspect::getStream() const
{
    return m_stream;
}

void CKaStreamerAspect::SetFromBegin(__int64 offset)
{
    Stream().SetFromBegin(offset);
}

void CKaStreamerAspect::SetFromCurrent(__int64 offset)
{
    Stream().SetFromCurrent(offset);
}

void CKaStreamerAspect::SetFromEnd(__int64 offset)
{
    Stream().SetFromEnd(offset);
}

unsigned __int64 CKaStreamerAspect::getPos()
{
    return Stream().getPos();
}

void CKaStreamerAspect::setPos(unsigned __int64 pos)
{
    Stream().setPos(pos);
}

unsigned __int64 CKaStreamerAspect::getSize()
{
    return Stream().getSize();
}

// ---- writer ---------------------------------------------------------------------------------

CKaBinaryWriter::CKaBinaryWriter(CKaRef<IKaStream> stream)
    : CKaObjectWithInterface<CKaBinaryStreamerAspect>(stream)
{
}

CKaBinaryWriter::~CKaBinaryWriter() = default;

CKaString CKaBinaryWriter::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.binarywriter", CKaObject::getObjectTypeInfo());
}

// The format is the values' little-endian memory image, which is how this processor holds them.
template <class V>
void CKaBinaryWriter::WriteValue(V value)
{
    Stream().Write(&value, sizeof(V));
}

void CKaBinaryWriter::WriteI1(char value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteU1(unsigned char value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteBool(bool value)
{
    WriteValue<unsigned char>(value ? 1 : 0);
}

void CKaBinaryWriter::WriteI2(short value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteU2(unsigned short value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteI4(long value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteU4(unsigned long value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteI8(__int64 value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteU8(unsigned __int64 value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteF4(float value)
{
    WriteValue(value);
}

void CKaBinaryWriter::WriteF8(double value)
{
    WriteValue(value);
}

void CKaBinaryWriter::Write(const void* data, unsigned long count)
{
    Stream().Write(data, count);
}

void CKaBinaryWriter::Write(CKaByteBuffer data)
{
    Stream().Write(data.getBuffer(), data.getSize());
}

// ---- reader ---------------------------------------------------------------------------------

CKaBinaryReader::CKaBinaryReader(CKaRef<IKaStream> stream)
    : CKaObjectWithInterface<CKaBinaryStreamerAspect>(stream)
{
}

CKaBinaryReader::~CKaBinaryReader() = default;

CKaString CKaBinaryReader::getObjectTypeInfo()
{
    return ChainTypeInfo(L"zel.core.io.binaryreader", CKaObject::getObjectTypeInfo());
}

template <class V>
V CKaBinaryReader::ReadValue()
{
    V value;
    if (Stream().Read(&value, sizeof(V)) < sizeof(V)) throw CKaCodeException(E_FAIL);
    return value;
}

char CKaBinaryReader::ReadI1()
{
    return ReadValue<char>();
}

unsigned char CKaBinaryReader::ReadU1()
{
    return ReadValue<unsigned char>();
}

bool CKaBinaryReader::ReadBool()
{
    return ReadValue<unsigned char>() != 0;
}

short CKaBinaryReader::ReadI2()
{
    return ReadValue<short>();
}

unsigned short CKaBinaryReader::ReadU2()
{
    return ReadValue<unsigned short>();
}

long CKaBinaryReader::ReadI4()
{
    return ReadValue<long>();
}

unsigned long CKaBinaryReader::ReadU4()
{
    return ReadValue<unsigned long>();
}

__int64 CKaBinaryReader::ReadI8()
{
    return ReadValue<__int64>();
}

unsigned __int64 CKaBinaryReader::ReadU8()
{
    return ReadValue<unsigned __int64>();
}

float CKaBinaryReader::ReadF4()
{
    return ReadValue<float>();
}

double CKaBinaryReader::ReadF8()
{
    return ReadValue<double>();
}

unsigned long CKaBinaryReader::Read(void* buffer, unsigned long count)
{
    return Stream().Read(buffer, count);
}

CKaByteBuffer CKaBinaryReader::Read(unsigned long count)
{
    IKaStream& stream = Stream();
    CKaByteBuffer bytes(count);
    const unsigned long read = count ? stream.Read(bytes.Unshare(), count) : 0;
    return read < count ? bytes.Extract(0, read) : bytes;
}

unsigned long CKaBinaryReader::ReadAvailable(void* buffer, unsigned long count)
{
    IKaStream& stream = Stream();
    unsigned char* target = static_cast<unsigned char*>(buffer);
    unsigned long done = 0;
    while (done < count) {
        const unsigned long read = stream.Read(target + done, count - done);
        if (read == 0) break;
        done += read;
    }
    return done;
}

void CKaBinaryReader::ReadExact(void* buffer, unsigned long count)
{
    if (ReadAvailable(buffer, count) < count) throw CKaCodeException(E_FAIL);
}

unsigned long CKaBinaryReader::ReadCount(unsigned long elementSize)
{
    const unsigned long count = ReadU4();
    const unsigned __int64 position = getPos();
    const unsigned __int64 size = getSize();
    const unsigned __int64 rest = position < size ? size - position : 0;
    if (static_cast<unsigned __int64>(count) * elementSize > rest) throw CKaCodeException(E_FAIL);
    return count;
}
