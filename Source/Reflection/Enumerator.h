#pragma once

#include <Tarn/Reflection/Name.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <utility>

namespace Tarn::Reflection {

/// One named value of a reflected enumeration. The description is a view, not a copy: pass text
/// that outlives the registry (in practice a literal).
struct Enumerator {
    /// The enumerator's name, by which Type::getEnumerator finds it.
    Name name;
    /// Its value; for a flags enumeration, usually one bit.
    int32_t value = 0;
    /// Text for editors and tools; a view (see above), empty by default.
    StringView description;

    /// No name, value 0.
    Enumerator() = default;
    /// The enumerator `enumeratorName` = `enumeratorValue`, without description.
    Enumerator(Name enumeratorName, int32_t enumeratorValue)
        : name(std::move(enumeratorName)), value(enumeratorValue) {}

    /// The name, the value and the description.
    ///@{
    const Name& getName() const { return name; }
    int32_t getValue() const { return value; }
    StringView getDescription() const { return description; }
    ///@}

    /// Sets the description (viewed, not copied) and returns the enumerator, for chaining in
    /// registration code.
    Enumerator& setDescription(StringView text) {
        description = text;
        return *this;
    }
};

} // namespace Tarn::Reflection
