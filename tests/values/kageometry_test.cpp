#include <gtest/gtest.h>
#include <random>
#include "kaserialtest.h"

namespace {

bool Same(const RECT& a, const RECT& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

std::string Text(const RECT& r)
{
    return "(" + std::to_string(r.left) + "," + std::to_string(r.top) + "," +
           std::to_string(r.right) + "," + std::to_string(r.bottom) + ")";
}

// Small coordinates, so that overlaps, touching edges and empty rectangles are common; one in
// eight has its edges swapped or collapsed.
RECT RandomRect(std::mt19937& random)
{
    std::uniform_int_distribution<long> coordinate(-8, 8);
    RECT r = {coordinate(random), coordinate(random), coordinate(random), coordinate(random)};
    if (random() % 8 != 0) {
        if (r.left > r.right) std::swap(r.left, r.right);
        if (r.top > r.bottom) std::swap(r.top, r.bottom);
    }
    return r;
}

} // namespace

TEST(KaGeometry, RectanglesAgreeWithThePlatform)
{
    std::mt19937 random(33);
    for (int i = 0; i < 5000; ++i) {
        const RECT a = RandomRect(random);
        const RECT b = RandomRect(random);
        SCOPED_TRACE(Text(a) + " " + Text(b));
        RECT expected;
        CKaRect r;

        const BOOL intersects = IntersectRect(&expected, &a, &b);
        ASSERT_EQ(intersects != FALSE, r.Intersect(a, b));
        ASSERT_TRUE(Same(expected, r));
        ASSERT_TRUE(Same(expected, CKaRect(a) & b));
        const BOOL unites = UnionRect(&expected, &a, &b);
        ASSERT_EQ(unites != FALSE, r.Union(a, b));
        ASSERT_TRUE(Same(expected, r));
        CKaRect united(a);
        united |= b;
        ASSERT_TRUE(Same(expected, united));
        const BOOL subtracts = SubtractRect(&expected, &a, &b);
        ASSERT_EQ(subtracts != FALSE, r.Subtract(a, b));
        ASSERT_TRUE(Same(expected, r));

        ASSERT_EQ(IsRectEmpty(&a) != FALSE, CKaRect(a).getEmpty());
        ASSERT_EQ(EqualRect(&a, &b) != FALSE, CKaRect(a) == b);
        const POINT p = {b.left, b.top};
        ASSERT_EQ(PtInRect(&a, p) != FALSE, CKaRect(a).PointInside(p));
        expected = a;
        InflateRect(&expected, b.left, b.top);
        CKaRect inflated(a);
        inflated.Inflate(CKaSize(b.left, b.top));
        ASSERT_TRUE(Same(expected, inflated));
        expected = a;
        OffsetRect(&expected, -b.right, -b.bottom);
        ASSERT_TRUE(Same(expected, CKaRect(a) - CKaSize(b.right, b.bottom)));
    }
}

TEST(KaGeometry, RectangleEdges)
{
    CKaRect r(10, 10, 0, 0);
    EXPECT_EQ(-10, r.getWidth());
    EXPECT_TRUE(r.getEmpty());
    r.Normalize();
    EXPECT_TRUE(r == CKaRect(0, 0, 10, 10));
    EXPECT_FALSE(r.PointInside(CKaPoint(10, 5)));
    EXPECT_TRUE(r.PointInside(CKaPoint(0, 0)));
    EXPECT_TRUE(CKaRect(-3, -3, 0, 0).getCenterPoint() == CKaPoint(-1, -1));
    EXPECT_TRUE(CKaRect(LONG_MAX - 1, 0, LONG_MAX, 2).getCenterPoint() == CKaPoint(LONG_MAX - 1, 1));

    CKaRect disjoint(1, 1, 1, 1);
    EXPECT_FALSE(disjoint.Intersect(CKaRect(0, 0, 2, 2), CKaRect(5, 5, 6, 6)));
    EXPECT_TRUE(disjoint.getEmpty());

    CKaRect moved(CKaPoint(2, 3), CKaSize(4, 5));
    EXPECT_TRUE(moved == CKaRect(2, 3, 6, 8));
    moved.MoveToXY(CKaPoint(-1, -2));
    EXPECT_TRUE(moved == CKaRect(-1, -2, 3, 3));
    EXPECT_TRUE(moved.getSize() == CKaSize(4, 5));
    moved.getBottomRight().Offset(1, 1);
    EXPECT_TRUE(moved.getBottomRight() == CKaPoint(4, 4));
    EXPECT_TRUE(moved.getTopRight() == CKaPoint(4, -2));
    EXPECT_TRUE(moved.getBottomLeft() == CKaPoint(-1, 4));
    moved.getTopLeft() = CKaPoint(0, 0);
    EXPECT_EQ(0, moved.getLeft());
    moved.Clear();
    EXPECT_TRUE(moved == CKaRect());
    moved.Set(CKaPoint(1, 2), CKaPoint(3, 4));
    EXPECT_TRUE(moved.IsEqual(CKaRect(1, 2, 3, 4)));
}

TEST(KaGeometry, PointsAndSizes)
{
    CKaPoint p(3, 4);
    p += CKaSize(1, 1);
    EXPECT_TRUE(p == CKaPoint(4, 5));
    EXPECT_TRUE(p - CKaSize(4, 5) == CKaPoint());
    EXPECT_TRUE(p - CKaPoint(1, 2) == CKaSize(3, 3));
    EXPECT_TRUE(-p == CKaPoint(-4, -5));
    EXPECT_TRUE(CKaPoint(CKaSize(7, 8)) == CKaPoint(7, 8));
    EXPECT_TRUE(CKaSize(1, 2) + CKaPoint(10, 10) == CKaPoint(11, 12));
    EXPECT_TRUE(CKaSize(1, 2) + CKaRect(0, 0, 5, 5) == CKaRect(1, 2, 6, 7));
    EXPECT_TRUE(-(CKaSize(1, 2) - CKaSize(3, 5)) == CKaSize(2, 3));
    EXPECT_TRUE(CKaSize(1, 2) != CKaSize(2, 1));
}

TEST(KaGeometry, BinaryForms)
{
    EXPECT_EQ((TKaBytes{1, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0}),
              SerializedBytes(CKaRect(1, 2, 3, 4)));
    EXPECT_EQ((TKaBytes{0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0}), SerializedBytes(CKaPoint(-1, 2)));
    EXPECT_EQ((TKaBytes{5, 0, 0, 0, 0, 0, 0, 0x80}), SerializedBytes(CKaSize(5, LONG_MIN)));

    CKaRect r;
    DeserializeBytes(r, SerializedBytes(CKaRect(-5, 6, 7, -8)));
    EXPECT_TRUE(Same(CKaRect(-5, 6, 7, -8), r));
    CKaPoint p;
    DeserializeBytes(p, SerializedBytes(CKaPoint(9, -9)));
    EXPECT_TRUE(p == CKaPoint(9, -9));
    CKaSize s;
    DeserializeBytes(s, SerializedBytes(CKaSize(1, 2)));
    EXPECT_TRUE(s == CKaSize(1, 2));

    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(r, TKaBytes(15, 0)); }));
    EXPECT_TRUE(Same(CKaRect(-5, 6, 7, -8), r));
    EXPECT_EQ(E_FAIL, ThrownCode([&] { DeserializeBytes(p, TKaBytes(7, 0)); }));
    EXPECT_TRUE(p == CKaPoint(9, -9));

    const CKaRef<CKaBinaryReader> any = ReaderOf({});
    EXPECT_EQ(16u, r.GetSerializeSize(any));
    EXPECT_EQ(8u, p.GetSerializeSize(any));
    EXPECT_EQ(8u, s.GetSerializeSize(any));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { r.GetSerializeSize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { p.Serialize(nullptr); }));
    EXPECT_EQ(E_POINTER, ThrownCode([&] { s.Deserialize(nullptr); }));
}
