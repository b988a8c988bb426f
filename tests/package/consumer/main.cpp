// An application of the installed package: an exception thrown in the DLL reaches it intact.
#include <cstdio>
#include <zelka/zelka.h>

int main()
{
    CKaRef<CKaError> error = CKaError::Build(E_FAIL);
    try {
        error->Throw();
    } catch (const CKaException& e) {
        if (e.getCode() == E_FAIL && e.getError() == error) {
            std::printf("installed package works\n");
            return 0;
        }
    }
    return 1;
}
