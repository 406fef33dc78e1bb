#include <Tarn/Collections/PoolBase.h>
#include <Tarn/Collections/SmallVector.h>
#include <Tarn/ComponentModel/Component.h>
#include <Tarn/ComponentModel/ComponentPool.h>
#include <Tarn/ComponentModel/Entity.h>
#include <Tarn/Foundation/Assert.h>
#include <Tarn/Foundation/Version.h>
#include <Tarn/Reflection/Type.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <cstdio>
#include <string>

// Exercises the exported interface from outside the library's tree, as a client built against the
// installed package sees it, and prints one line that the packaging test checks.
namespace {

std::string failures;
int reported = 0;

void count(const char*, const char*, int) {
    ++reported;
}

void check(bool condition, const char* what) {
    if (!condition) {
        failures += failures.empty() ? what : std::string(", ") + what;
    }
}

// Reads a constant through its address, as binding it to a reference does. The volatile keeps
// the optimiser from folding the address away, so the link needs the symbol from the library.
template <typename T>
T throughAddress(const T& constant) {
    const T* volatile address = &constant;
    return *address;
}

} // namespace

int main() {
    // The package carries the library's assertion setting, so inline code in the headers asserts
    // in this program exactly when the library does.
    Tarn::AssertHandler previous = Tarn::setAssertHandler(&count);
    Tarn::reportAssertion("client", __FILE__, __LINE__);
    check(reported == 1, "assertion handler not called");
    Tarn::Collections::SmallVector<int, 4> vector;
    vector.pop_back();
    check(reported == (Tarn::areAssertionsEnabled() ? 2 : 1), "inline assertions disagree with the library");
    Tarn::setAssertHandler(previous);

    // Every constant member of an exported class, used through its address.
    check(throughAddress(Tarn::StringView::NoPosition) == UINT64_MAX, "StringView::NoPosition");
    check(throughAddress(Tarn::Collections::PoolBase::MaxElementOffset) == 0xFFFF,
          "PoolBase::MaxElementOffset");
    check(throughAddress(Tarn::ComponentModel::ComponentPoolBase::AutomaticGrowth) == 1u,
          "ComponentPoolBase::AutomaticGrowth");
    check(throughAddress(Tarn::ComponentModel::Component::PoolAllocatedFlag) == 1u,
          "Component::PoolAllocatedFlag");
    check(throughAddress(Tarn::ComponentModel::Entity::NoId) == UINT64_MAX, "Entity::NoId");
    check(throughAddress(Tarn::Reflection::Type::EnumFlagsBit) == 1u, "Type::EnumFlagsBit");

    // The headers and the library come from one package.
    const Tarn::FoundationVersion version = Tarn::getFoundationVersion();
    check(version.major == TARN_FOUNDATION_VERSION_MAJOR && version.minor == TARN_FOUNDATION_VERSION_MINOR &&
              version.patch == TARN_FOUNDATION_VERSION_PATCH &&
              std::string(Tarn::getFoundationVersionString()) == TARN_FOUNDATION_VERSION_STRING,
          "version");

    if (!failures.empty()) {
        std::printf("client: %s\n", failures.c_str());
        return 1;
    }
    std::printf("client: ok (assertions %s)\n", Tarn::areAssertionsEnabled() ? "on" : "off");
    return 0;
}
