#pragma once

#include <Tarn/Strings/StringView.h>

#include <cstdint>
#include <string>
#include <utility>

namespace Tarn::Reflection {

/// A name together with its 64-bit FNV-1a hash.
///
/// Names are compared by hash only, never by text: lookups in the registry are integer compares,
/// and a Name made from a bare id (for example one read from a file) equals the Name with that
/// text although its own text is empty. The default Name has id 0, which is not the hash of the
/// empty text (0xcbf29ce484222325): "no name" and "the empty name" stay distinguishable.
struct Name {
    /// The text, empty for a name made from a bare id.
    std::string name;
    /// The FNV-1a hash of the text, by which names compare.
    uint64_t id = 0;

    /// "No name": id 0, empty text.
    Name() = default;
    /// A name known only by its hash; the text stays empty.
    explicit Name(uint64_t nameId) : id(nameId) {}
    /// A copy of the text and its hash. A null pointer is the empty text, and so is a null view.
    ///@{
    Name(const char* text) : Name(StringView(text)) {}
    Name(StringView text)
        : name(text.data() ? std::string(text.data(), text.size()) : std::string()), id(text.hash()) {}
    Name(const std::string& text) : name(text), id(StringView(text).hash()) {}
    Name(std::string&& text) : name(std::move(text)), id(StringView(name).hash()) {}
    ///@}

    /// The text (empty for a name made from a bare id), the hash, and the text as a C string.
    ///@{
    const std::string& getName() const { return name; }
    uint64_t getId() const { return id; }
    const char* c_str() const { return name.c_str(); }
    ///@}

    /// Equal hashes: the text is not compared.
    friend bool operator==(const Name& a, const Name& b) { return a.id == b.id; }
};

} // namespace Tarn::Reflection
