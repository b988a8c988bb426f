#include <gtest/gtest.h>
#include <vector>
#include "katest.h"

namespace {

// A stream that records the seeks it is asked for, to see what the shared members call.
class CSeekRecorder : public CKaObject, public IKaStream
{
public:
    unsigned long AddRef() override { return CKaObject::AddRef(); }
    unsigned long Release() override { return CKaObject::Release(); }
    unsigned long Read(void*, unsigned long) override { return 0; }
    void Write(const void*, unsigned long) override {}
    void SetFromBegin(__int64 offset) override { seeks.push_back(offset); }
    void SetFromCurrent(__int64) override {}
    void SetFromEnd(__int64) override {}
    unsigned __int64 getPos() override { return 0; }
    unsigned __int64 getSize() override { return 0; }

    std::vector<__int64> seeks;
};

} // namespace

TEST(KaStreamInterface, SetPosIsASeekFromTheBeginning)
{
    CKaRef<CSeekRecorder> recorder = new CSeekRecorder;
    CKaRef<IKaStream> stream = recorder.getPtr();
    stream->setPos(0x123456789ull);
    stream->setPos(0xFFFFFFFFFFFFFFFFull);
    ASSERT_EQ(2u, recorder->seeks.size());
    EXPECT_EQ(0x123456789ll, recorder->seeks[0]);
    EXPECT_EQ(-1ll, recorder->seeks[1]);
}
