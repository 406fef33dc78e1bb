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
    /// A method without a name (id 0) and with zeroed call data.
    Method() = default;
    /// A method named `methodName` with zeroed call data, for the registering code to fill in.
    explicit Method(Name methodName) : name(std::move(methodName)) {}

    /// The method's name, by which Type::getMethod finds it.
    const Name& getName() const { return name; }

private:
    Name name;

public:
    /// The opaque call data, zero until the registering code sets it; copied with the record.
    ///@{
    uint64_t callWords[3] = {};
    unsigned char callBlocks[2][16] = {};
    ///@}
};

} // namespace Tarn::Reflection
