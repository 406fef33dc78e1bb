#pragma once

#include <Tarn/Reflection/Name.h>

#include <cstdint>
#include <utility>

namespace Tarn::Reflection {

/// A reflected method: its name and opaque call data. The registering code decides what the three
/// words and two 16-byte blocks mean (typically a thunk and a member-function pointer, whose size
/// differs between compilers); the library only stores and copies them.
class Method {
public:
    Method() = default;
    explicit Method(Name methodName) : name(std::move(methodName)) {}

    const Name& getName() const { return name; }

private:
    Name name;

public:
    uint64_t callWords[3] = {};
    unsigned char callBlocks[2][16] = {};
};

} // namespace Tarn::Reflection
