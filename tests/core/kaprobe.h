#ifndef ZELKA_TESTS_KAPROBE_H
#define ZELKA_TESTS_KAPROBE_H

#include <functional>
#include <zelka/zelka.h>

// A library object that reports its final release and destruction to counters owned by the test.
class CKaProbe : public CKaObject
{
public:
    struct Counters
    {
        int finalReleases = 0;
        int destructions = 0;
    };

    explicit CKaProbe(Counters& counters) : m_counters(counters) {}

    CKaString getObjectTypeInfo() override
    {
        return ChainTypeInfo(L"zel.test.probe", CKaObject::getObjectTypeInfo());
    }

    void FinalRelease() override
    {
        ++m_counters.finalReleases;
        if (onFinalRelease) onFinalRelease(this);
    }

    std::function<void(CKaProbe*)> onFinalRelease;

protected:
    ~CKaProbe() override { ++m_counters.destructions; }

private:
    Counters& m_counters;
};

#endif
