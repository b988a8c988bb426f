#include "zelka/kastream.h"

void IKaStream::setPos(unsigned __int64 pos)
{
    SetFromBegin(static_cast<__int64>(pos));
}

static_assert(FILE_BEGIN == STREAM_SEEK_SET && FILE_CURRENT == STREAM_SEEK_CUR &&
                  FILE_END == STREAM_SEEK_END,
              "files and COM streams share one set of seek origins");

void CKaSeekableStream::SetFromBegin(__int64 offset)
{
    Seek(offset, FILE_BEGIN);
}

void CKaSeekableStream::SetFromCurrent(__int64 offset)
{
    Seek(offset, FILE_CURRENT);
}

void CKaSeekableStream::SetFromEnd(__int64 offset)
{
    Seek(offset, FILE_END);
}

unsigned __int64 CKaSeekableStream::getPos()
{
    return Seek(0, FILE_CURRENT);
}
