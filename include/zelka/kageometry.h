#ifndef ZELKA_KAGEOMETRY_H
#define ZELKA_KAGEOMETRY_H

#include "kaexport.h"
#include "karef.h"

class CKaBinaryWriter;
class CKaBinaryReader;
class CKaBinaryStreamerAspect;
class CKaSize;
class CKaRect;

// Points, sizes and rectangles: each is exactly the platform structure (no virtual members),
// so it goes wherever POINT, SIZE or RECT is read. Rectangle operations are the platform's own
// rectangle functions, so their results (empty rectangles included) are the platform's.

class ZELKA_API CKaPoint : public POINT
{
public:
    CKaPoint();
    CKaPoint(long x, long y);
    CKaPoint(const POINT& point);
    // x = cx, y = cy.
    explicit CKaPoint(const SIZE& size);

    long getX() const { return x; }
    long getY() const { return y; }
    void setX(long value) { x = value; }
    void setY(long value) { y = value; }
    void SetPoint(long newX, long newY);

    void Offset(long dx, long dy);
    void Offset(const SIZE& size);
    CKaPoint& operator+=(const SIZE& size);
    CKaPoint& operator-=(const SIZE& size);
    CKaPoint operator+(const SIZE& size) const;
    CKaPoint operator-(const SIZE& size) const;
    // The difference of two points.
    CKaSize operator-(const POINT& point) const;
    CKaPoint operator-() const;
    bool operator==(const POINT& point) const;
    bool operator!=(const POINT& point) const { return !(*this == point); }

    // x, y as 4-byte integers.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;
};

class ZELKA_API CKaSize : public SIZE
{
public:
    CKaSize();
    CKaSize(long cx, long cy);
    CKaSize(const SIZE& size);

    long getWidth() const { return cx; }
    long getHeight() const { return cy; }
    void setWidth(long value) { cx = value; }
    void setHeight(long value) { cy = value; }
    void SetSize(long width, long height);

    CKaSize& operator+=(const SIZE& size);
    CKaSize& operator-=(const SIZE& size);
    CKaSize operator+(const SIZE& size) const;
    CKaSize operator-(const SIZE& size) const;
    CKaSize operator-() const;
    // The point moved by this size.
    CKaPoint operator+(const POINT& point) const;
    // The rectangle moved by this size.
    CKaRect operator+(const RECT& rect) const;
    bool operator==(const SIZE& size) const;
    bool operator!=(const SIZE& size) const { return !(*this == size); }

    // cx, cy as 4-byte integers.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;
};

class ZELKA_API CKaRect : public RECT
{
public:
    CKaRect();
    CKaRect(long left, long top, long right, long bottom);
    CKaRect(const RECT& rect);
    // right = left + cx, bottom = top + cy.
    CKaRect(const POINT& topLeft, const SIZE& size);
    CKaRect(const POINT& topLeft, const POINT& bottomRight);

    CKaRect& operator=(const RECT& rect);
    void Copy(const CKaRect& rect);
    void Set(long newLeft, long newTop, long newRight, long newBottom);
    void Set(const POINT& topLeft, const POINT& bottomRight);
    void Clear();

    long getLeft() const { return left; }
    long getTop() const { return top; }
    long getRight() const { return right; }
    long getBottom() const { return bottom; }
    void setLeft(long value) { left = value; }
    void setTop(long value) { top = value; }
    void setRight(long value) { right = value; }
    void setBottom(long value) { bottom = value; }
    // Negative for a rectangle whose edges are swapped.
    long getWidth() const;
    long getHeight() const;
    CKaSize getSize() const;
    // The first and second half of the rectangle, as points.
    CKaPoint& getTopLeft();
    const CKaPoint& getTopLeft() const;
    CKaPoint& getBottomRight();
    const CKaPoint& getBottomRight() const;
    CKaPoint getTopRight() const;
    CKaPoint getBottomLeft() const;
    // Rounded toward zero.
    CKaPoint getCenterPoint() const;
    bool getEmpty() const;
    // The right and bottom edges are outside.
    bool PointInside(const POINT& point) const;
    bool IsEqual(const CKaRect& rect) const;
    bool operator==(const RECT& rect) const;
    bool operator!=(const RECT& rect) const { return !(*this == rect); }

    void Inflate(long dx, long dy);
    void Inflate(const SIZE& size);
    void Offset(long dx, long dy);
    void Offset(const SIZE& size);
    CKaRect& operator+=(const SIZE& size);
    CKaRect& operator-=(const SIZE& size);
    CKaRect operator+(const SIZE& size) const;
    CKaRect operator-(const SIZE& size) const;
    // Intersection and union with this rectangle.
    CKaRect& operator&=(const RECT& rect);
    CKaRect operator&(const RECT& rect) const;
    CKaRect& operator|=(const RECT& rect);
    CKaRect operator|(const RECT& rect) const;
    // Store the result in this rectangle; true when it is not empty.
    bool Intersect(const RECT& a, const RECT& b);
    bool Union(const RECT& a, const RECT& b);
    bool Subtract(const RECT& a, const RECT& b);
    // Swaps the edges that are the wrong way round.
    void Normalize();
    // Move the left (top) edge to the coordinate, keeping width and height.
    void MoveToX(long x);
    void MoveToY(long y);
    void MoveToXY(long x, long y);
    void MoveToXY(const POINT& point);

    // Four 4-byte integers in the order left, right, top, bottom (both horizontal edges first),
    // not in structure order.
    void Serialize(CKaRef<CKaBinaryWriter> writer) const;
    void Deserialize(CKaRef<CKaBinaryReader> reader);
    unsigned long GetSerializeSize(CKaRef<CKaBinaryStreamerAspect> aspect) const;
};

#endif
