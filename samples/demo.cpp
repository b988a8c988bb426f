// A tour of zelka130 as it stands: counted objects, exceptions with status codes, shared,
// copy-on-write strings, and the library's typical request: a UTF-8 text file read line by
// line.
#include <cstdio>
#include <zelka/zelka.h>

namespace {

// Lets the console take UTF-8 for the life of the object; the console keeps its code page
// after the program, so the old one is put back.
class CUtf8Console
{
public:
    CUtf8Console() : m_old(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
    ~CUtf8Console() { SetConsoleOutputCP(m_old); }
    CUtf8Console(const CUtf8Console&) = delete;
    CUtf8Console& operator=(const CUtf8Console&) = delete;

private:
    UINT m_old;
};

// Reads the sample text that lies beside the program and prints its lines. The lossless reader
// joins characters that two reads from the file split, so every line comes out whole.
void PrintSampleText()
{
    CKaRef<CKaModule> program = CKaModule::FromHandle(GetModuleHandleW(nullptr), false);
    CKaString path = program->getFolderPath();
    path.Append(L"\\sample.txt");

    CKaRef<CKaFile> file = new CKaFile();
    file->OpenExisting(path, true);
    CKaRef<CKaEncoding> utf8 = KaGetStandardEncoding(65001);
    CKaRef<CKaTextReader> reader = new CKaLosslessTextReader(utf8, file);

    // The lines go out as UTF-8 bytes, which the console is told to expect.
    CUtf8Console console;
    std::printf("lines of %ls:\n", path.getSz());
    CKaString line;
    for (unsigned long number = 1; reader->ReadLine(line); ++number) {
        const CKaByteBuffer bytes = utf8->GetBytes(line, true);
        std::printf("%2lu: ", number);
        std::fwrite(bytes.getBuffer(), 1, bytes.getSize(), stdout);
        std::printf("\n");
    }
}

} // namespace

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

    // Calendar arithmetic: a month and a day later, on the proleptic Gregorian calendar.
    const CKaDateTime start(2024, 1, 15, 9, 30, 0, 0, 60);
    const CKaDateTime later = start + CKaDuration(0, 1, 1, 0, 0, 0, 0);
    long year, month, day;
    later.GetDate(year, month, day);
    std::printf("2024-01-15 plus one month and one day: %04ld-%02ld-%02ld, day %ld since year 0\n",
                year, month, day, later.getDays());
    const CKaGuid id(L"6b29fc40-ca47-1067-b31d-00dd010662da");
    std::printf("GUID in registry form: %ls\n", id.getAsBracedString().getSz());

    try {
        CKaRef<CKaError> none;
        none->getCode();
    } catch (const CKaException& e) {
        std::printf("null reference: 0x%08lX\n", static_cast<unsigned long>(e.getCode()));
    }

    try {
        PrintSampleText();
    } catch (const CKaException& e) {
        std::printf("reading the sample text failed: 0x%08lX\n",
                    static_cast<unsigned long>(e.getCode()));
        return 1;
    }
    return 0;
}
