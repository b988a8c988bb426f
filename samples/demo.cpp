// A tour of zelka130 as it stands: counted objects, exceptions with status codes and shared,
// copy-on-write strings.
#include <cstdio>
#include <zelka/zelka.h>

int main()
{
    CKaRef<CKaError> error = CKaError::Build(E_INVALIDARG);
    std::printf("type chain: %ls\n", error->getObjectTypeInfo().getSz());

    try {
        error->Throw();
    } catch (const CKaException& e) {
        std::printf("caught 0x%08lX, same error object: %s\n",
                    static_cast<unsigned long>(e.getCode()),
                    e.getError() == error ? "yes" : "no");
    }

    CKaString greeting(L"Hello");
    CKaString copy = greeting;
    std::printf("copies share one block: %s\n", copy.getSz() == greeting.getSz() ? "yes" : "no");
    copy.Append(L", zelka");
    std::printf("%ls / %ls\n", greeting.getSz(), copy.getSz());

    CKaString message = KaFormatMessage(L"%1 of %2", L"one", L"two");
    std::printf("%ls\n", message.getSz());

    try {
        CKaRef<CKaError> none;
        none->getCode();
    } catch (const CKaException& e) {
        std::printf("null reference: 0x%08lX\n", static_cast<unsigned long>(e.getCode()));
    }
    return 0;
}
