#include <Tarn/Foundation/Assert.h>

#include <cstdio>

// Exercises the exported interface from outside the library's tree and prints one line that the
// packaging test checks.
namespace {
int reported = 0;
void count(const char*, const char*, int) {
    ++reported;
}
} // namespace

int main() {
    Tarn::AssertHandler previous = Tarn::setAssertHandler(&count);
    Tarn::reportAssertion("client", __FILE__, __LINE__);
    Tarn::setAssertHandler(previous);
    if (reported != 1) {
        std::printf("client: assertion handler not called\n");
        return 1;
    }
    std::printf("client: ok\n");
    return 0;
}
