// Commits the crime that it is told to, so that a sanitizer can prove that it watches.
#include <climits>
#include <cstdio>
#include <cstring>
#include <thread>

namespace
{

int UseAfterFree()
{
    volatile char* block = new char[16];
    delete[] block;
    return block[3];
}

int Leak()
{
    char* volatile block = new char[16];
    block[0] = 1;
    block = nullptr;
    return block == nullptr ? 0 : 1;
}

int SignedOverflow()
{
    volatile int number = INT_MAX;
    number = number + 1;
    return number;
}

int DataRace()
{
    int counter = 0;
    std::thread other(
        [&counter]
        {
            for (int i = 0; i < 100000; ++i)
                ++counter;
        });
    for (int i = 0; i < 100000; ++i)
        ++counter;
    other.join();
    return counter;
}

} // namespace

int main(int inCount, char** inArguments)
{
    const char* crime = inCount > 1 ? inArguments[1] : "";
    int answer = 0;
    if (std::strcmp(crime, "use-after-free") == 0)
        answer = UseAfterFree();
    else if (std::strcmp(crime, "leak") == 0)
        answer = Leak();
    else if (std::strcmp(crime, "signed-overflow") == 0)
        answer = SignedOverflow();
    else if (std::strcmp(crime, "data-race") == 0)
        answer = DataRace();
    std::printf("%d\n", answer & 1);
    return 0;
}
