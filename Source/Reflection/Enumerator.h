#pragma once

#include <Tarn/Reflection/Name.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <utility>

namespace Tarn::Reflection {

/// One named value of a reflected enumeration. The description is a view, not a copy: pass text
/// that outlives the registry (in practice a literal).
struct Enumerator {
    Name name;
    int32_t value = 0;
    StringView description;

    Enumerator() = default;
    Enumerator(Name enumeratorName, int32_t enumeratorValue)
        : name(std::move(enumeratorName)), value(enumeratorValue) {}

    const Name& getName() const { return name; }
    int32_t getValue() const { return value; }
    StringView getDescription() const { return description; }

    Enumerator& setDescription(StringView text) {
        description = text;
        return *this;
    }
};

} // namespace Tarn::Reflection
