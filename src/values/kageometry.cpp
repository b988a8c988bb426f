#include "zelka/kageometry.h"
#include <utility>
#include "zelka/kabinary.h"
#include "zelka/kaexception.h"

static_assert(sizeof(CKaPoint) == sizeof(POINT), "a CKaPoint is exactly a POINT");
static_assert(sizeof(CKaSize) == sizeof(SIZE), "a CKaSize is exactly a SIZE");
static_assert(sizeof(CKaRect) == sizeof(RECT), "a CKaRect is exactly a RECT");

namespace {

// Coordinates are unchecked: a difference or sum that leaves 32 bits wraps around.
long WrappedDifference(long a, long b)
{
    return static_cast<long>(static_cast<unsigned long>(a) - static_cast<unsigned long>(b));
}

long WrappedSum(long a, long b)
{
    return static_cast<long>(static_cast<unsigned long>(a) + static_cast<unsigned long>(b));
}

// Two coordinates read back whole or not at all.
std::pair<long, long> ReadPair(CKaBinaryReader& source)
{
    const long first = source.ReadI4();
    const long second = source.ReadI4();
    return {first, second};
}

} // namespace

// ---- CKaPoint -------------------------------------------------------------------------------

CKaPoint::CKaPoint() : POINT{0, 0} {}

CKaPoint::CKaPoint(long newX, long newY) : POINT{newX, newY} {}

CKaPoint::CKaPoint(const POINT& point) : POINT(point) {}

CKaPoint::CKaPoint(const SIZE& size) : POINT{size.cx, size.cy} {}

void CKaPoint::SetPoint(long newX, long newY)
{
    x = newX;
    y = newY;
}

void CKaPoint::Offset(long dx, long dy)
{
    x = WrappedSum(x, dx);
    y = WrappedSum(y, dy);
}

void CKaPoint::Offset(const SIZE& size)
{
    Offset(size.cx, size.cy);
}

CKaPoint& CKaPoint::operator+=(const SIZE& size)
{
    Offset(size);
    return *this;
}

CKaPoint& CKaPoint::operator-=(const SIZE& size)
{
    Offset(WrappedDifference(0, size.cx), WrappedDifference(0, size.cy));
    return *this;
}

CKaPoint CKaPoint::operator+(const SIZE& size) const
{
    CKaPoint moved(*this);
    return moved += size;
}

CKaPoint CKaPoint::operator-(const SIZE& size) const
{
    CKaPoint moved(*this);
    return moved -= size;
}

CKaSize CKaPoint::operator-(const POINT& point) const
{
    return CKaSize(WrappedDifference(x, point.x), WrappedDifference(y, point.y));
}

CKaPoint CKaPoint::operator-() const
{
    return CKaPoint(WrappedDifference(0, x), WrappedDifference(0, y));
}

bool CKaPoint::operator==(const POINT& point) const
{
    return x == point.x && y == point.y;
}

void CKaPoint::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    CKaBinaryWriter& target = *writer;
    target.WriteI4(x);
    target.WriteI4(y);
}

void CKaPoint::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    const std::pair<long, long> read = ReadPair(*reader);
    SetPoint(read.first, read.second);
}

unsigned long CKaPoint::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return 2 * (*aspect).getI4Size();
}

// ---- CKaSize --------------------------------------------------------------------------------

CKaSize::CKaSize() : SIZE{0, 0} {}

CKaSize::CKaSize(long width, long height) : SIZE{width, height} {}

CKaSize::CKaSize(const SIZE& size) : SIZE(size) {}

void CKaSize::SetSize(long width, long height)
{
    cx = width;
    cy = height;
}

CKaSize& CKaSize::operator+=(const SIZE& size)
{
    SetSize(WrappedSum(cx, size.cx), WrappedSum(cy, size.cy));
    return *this;
}

CKaSize& CKaSize::operator-=(const SIZE& size)
{
    SetSize(WrappedDifference(cx, size.cx), WrappedDifference(cy, size.cy));
    return *this;
}

CKaSize CKaSize::operator+(const SIZE& size) const
{
    CKaSize sum(*this);
    return sum += size;
}

CKaSize CKaSize::operator-(const SIZE& size) const
{
    CKaSize difference(*this);
    return difference -= size;
}

CKaSize CKaSize::operator-() const
{
    return CKaSize(WrappedDifference(0, cx), WrappedDifference(0, cy));
}

CKaPoint CKaSize::operator+(const POINT& point) const
{
    return CKaPoint(point) + *this;
}

CKaRect CKaSize::operator+(const RECT& rect) const
{
    CKaRect moved;
    CopyRect(&moved, &rect);
    OffsetRect(&moved, cx, cy);
    return moved;
}

bool CKaSize::operator==(const SIZE& size) const
{
    return cx == size.cx && cy == size.cy;
}

void CKaSize::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    CKaBinaryWriter& target = *writer;
    target.WriteI4(cx);
    target.WriteI4(cy);
}

void CKaSize::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    const std::pair<long, long> read = ReadPair(*reader);
    SetSize(read.first, read.second);
}

unsigned long CKaSize::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return 2 * (*aspect).getI4Size();
}

// ---- CKaRect --------------------------------------------------------------------------------

CKaRect::CKaRect() : RECT{0, 0, 0, 0} {}

CKaRect::CKaRect(long newLeft, long newTop, long newRight, long newBottom)
    : RECT{newLeft, newTop, newRight, newBottom}
{
}

CKaRect::CKaRect(const RECT& rect) : RECT(rect) {}

CKaRect::CKaRect(const POINT& topLeft, const SIZE& size)
    : RECT{topLeft.x, topLeft.y, WrappedSum(topLeft.x, size.cx), WrappedSum(topLeft.y, size.cy)}
{
}

CKaRect::CKaRect(const POINT& topLeft, const POINT& bottomRight)
    : RECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y}
{
}

CKaRect& CKaRect::operator=(const RECT& rect)
{
    *static_cast<RECT*>(this) = rect;
    return *this;
}

void CKaRect::Copy(const CKaRect& rect)
{
    CopyRect(this, &rect);
}

void CKaRect::Set(long newLeft, long newTop, long newRight, long newBottom)
{
    SetRect(this, newLeft, newTop, newRight, newBottom);
}

void CKaRect::Set(const POINT& topLeft, const POINT& bottomRight)
{
    Set(topLeft.x, topLeft.y, bottomRight.x, bottomRight.y);
}

void CKaRect::Clear()
{
    SetRectEmpty(this);
}

long CKaRect::getWidth() const
{
    return WrappedDifference(right, left);
}

long CKaRect::getHeight() const
{
    return WrappedDifference(bottom, top);
}

CKaSize CKaRect::getSize() const
{
    return CKaSize(getWidth(), getHeight());
}

CKaPoint& CKaRect::getTopLeft()
{
    return *reinterpret_cast<CKaPoint*>(&left);
}

const CKaPoint& CKaRect::getTopLeft() const
{
    return *reinterpret_cast<const CKaPoint*>(&left);
}

CKaPoint& CKaRect::getBottomRight()
{
    return *reinterpret_cast<CKaPoint*>(&right);
}

const CKaPoint& CKaRect::getBottomRight() const
{
    return *reinterpret_cast<const CKaPoint*>(&right);
}

CKaPoint CKaRect::getTopRight() const
{
    return CKaPoint(right, top);
}

CKaPoint CKaRect::getBottomLeft() const
{
    return CKaPoint(left, bottom);
}

CKaPoint CKaRect::getCenterPoint() const
{
    // Summed in 64 bits, so that the centre of a rectangle at the edge of the range is right.
    return CKaPoint(static_cast<long>((static_cast<__int64>(left) + right) / 2),
                    static_cast<long>((static_cast<__int64>(top) + bottom) / 2));
}

bool CKaRect::getEmpty() const
{
    return IsRectEmpty(this) != FALSE;
}

bool CKaRect::PointInside(const POINT& point) const
{
    return PtInRect(this, point) != FALSE;
}

bool CKaRect::IsEqual(const CKaRect& rect) const
{
    return EqualRect(this, &rect) != FALSE;
}

bool CKaRect::operator==(const RECT& rect) const
{
    return EqualRect(this, &rect) != FALSE;
}

void CKaRect::Inflate(long dx, long dy)
{
    InflateRect(this, dx, dy);
}

void CKaRect::Inflate(const SIZE& size)
{
    Inflate(size.cx, size.cy);
}

void CKaRect::Offset(long dx, long dy)
{
    OffsetRect(this, dx, dy);
}

void CKaRect::Offset(const SIZE& size)
{
    Offset(size.cx, size.cy);
}

CKaRect& CKaRect::operator+=(const SIZE& size)
{
    Offset(size);
    return *this;
}

CKaRect& CKaRect::operator-=(const SIZE& size)
{
    Offset(WrappedDifference(0, size.cx), WrappedDifference(0, size.cy));
    return *this;
}

CKaRect CKaRect::operator+(const SIZE& size) const
{
    CKaRect moved(*this);
    return moved += size;
}

CKaRect CKaRect::operator-(const SIZE& size) const
{
    CKaRect moved(*this);
    return moved -= size;
}

CKaRect& CKaRect::operator&=(const RECT& rect)
{
    Intersect(*this, rect);
    return *this;
}

CKaRect CKaRect::operator&(const RECT& rect) const
{
    CKaRect result(*this);
    return result &= rect;
}

CKaRect& CKaRect::operator|=(const RECT& rect)
{
    Union(*this, rect);
    return *this;
}

CKaRect CKaRect::operator|(const RECT& rect) const
{
    CKaRect result(*this);
    return result |= rect;
}

bool CKaRect::Intersect(const RECT& a, const RECT& b)
{
    // The platform reads both sources before it writes, so either may be this rectangle.
    return IntersectRect(this, &a, &b) != FALSE;
}

bool CKaRect::Union(const RECT& a, const RECT& b)
{
    return UnionRect(this, &a, &b) != FALSE;
}

bool CKaRect::Subtract(const RECT& a, const RECT& b)
{
    return SubtractRect(this, &a, &b) != FALSE;
}

void CKaRect::Normalize()
{
    if (left > right) std::swap(left, right);
    if (top > bottom) std::swap(top, bottom);
}

void CKaRect::MoveToX(long x)
{
    right = WrappedSum(x, getWidth());
    left = x;
}

void CKaRect::MoveToY(long y)
{
    bottom = WrappedSum(y, getHeight());
    top = y;
}

void CKaRect::MoveToXY(long x, long y)
{
    MoveToX(x);
    MoveToY(y);
}

void CKaRect::MoveToXY(const POINT& point)
{
    MoveToXY(point.x, point.y);
}

void CKaRect::Serialize(CKaRef<CKaBinaryWriter> writer) const
{
    CKaBinaryWriter& target = *writer;
    target.WriteI4(left);
    target.WriteI4(right);
    target.WriteI4(top);
    target.WriteI4(bottom);
}

void CKaRect::Deserialize(CKaRef<CKaBinaryReader> reader)
{
    CKaBinaryReader& source = *reader;
    const std::pair<long, long> horizontal = ReadPair(source);
    const std::pair<long, long> vertical = ReadPair(source);
    *this = CKaRect(horizontal.first, vertical.first, horizontal.second, vertical.second);
}

unsigned long CKaRect::GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const
{
    return 4 * (*aspect).getI4Size();
}
