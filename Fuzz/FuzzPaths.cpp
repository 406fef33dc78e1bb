// The pure path-text functions on arbitrary text: how their results fit together and into the
// input (a file name is a suffix, a parent a prefix, stem and extension make up the file name, the
// append rule of combine), and replaceAll against a plain left-to-right rebuild. Nothing here
// reaches the file system or the environment.

#include "FuzzCheck.h"

#include <Tarn/Files/Paths.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace IO = Tarn::IO;

namespace {

bool isSeparator(char c) {
    return c == '\\' || c == '/';
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The root name as the grammar defines it: "X:" or a leading "\\server".
std::size_t rootNameLength(const std::string& p) {
    if (p.size() >= 2 && p[1] == ':' && !isSeparator(p[0])) {
        return 2;
    }
    if (p.size() >= 3 && isSeparator(p[0]) && isSeparator(p[1]) && !isSeparator(p[2])) {
        const std::size_t end = p.find_first_of("\\/", 2);
        return end == std::string::npos ? p.size() : end;
    }
    return 0;
}

std::string referenceReplaceAll(const std::string& text, const std::string& from, const std::string& to) {
    if (from.empty()) {
        return text;
    }
    std::string out;
    std::size_t at = 0;
    for (std::size_t hit = text.find(from); hit != std::string::npos; hit = text.find(from, at)) {
        out.append(text, at, hit - at).append(to);
        at = hit + from.size();
    }
    return out.append(text, at, std::string::npos);
}

void checkOne(const std::string& path) {
    const std::string name = IO::fileName(path);
    const std::string stem = IO::stem(path);
    const std::string extension = IO::extension(path);
    TARN_FUZZ_CHECK(endsWith(path, name));
    TARN_FUZZ_CHECK(name.find_first_of("\\/") == std::string::npos);
    TARN_FUZZ_CHECK(stem + extension == name);
    TARN_FUZZ_CHECK(extension.empty() ||
                    (extension[0] == '.' && extension.find('.', 1) == std::string::npos));
    if (name != "." && name != ".." && name.rfind('.') != std::string::npos && name.rfind('.') != 0) {
        TARN_FUZZ_CHECK(extension == name.substr(name.rfind('.')));
    } else {
        TARN_FUZZ_CHECK(extension.empty());
    }

    // A file name never includes the root name: "C:x" names "x", "C:" and "\\server" name nothing.
    const std::size_t rootName = rootNameLength(path);
    TARN_FUZZ_CHECK(name.size() <= path.size() - rootName);

    // Parents are prefixes, shrink at every step, and stop at the root.
    std::string current = path;
    for (std::size_t steps = 0;; ++steps) {
        const std::string parent = IO::parentPath(current);
        TARN_FUZZ_CHECK(startsWith(current, parent));
        if (parent == current) {
            TARN_FUZZ_CHECK(IO::fileName(current).empty() || current.empty());
            break;
        }
        TARN_FUZZ_CHECK(parent.size() < current.size());
        TARN_FUZZ_CHECK(steps <= path.size());
        current = parent;
    }

    const std::string relative = IO::relativePath(path);
    TARN_FUZZ_CHECK(endsWith(path, relative));
    TARN_FUZZ_CHECK(relative.empty() || !isSeparator(relative[0]));
    TARN_FUZZ_CHECK(relative.size() <= path.size() - rootName);
    TARN_FUZZ_CHECK(endsWith(relative, name));

    const bool absolute = !path.empty() && (isSeparator(path[0]) || (path.size() > 1 && path[1] == ':'));
    TARN_FUZZ_CHECK(IO::isAbsolute(path) == absolute);
    TARN_FUZZ_CHECK(IO::isRelative(path) == !absolute);
}

void checkCombine(const std::string& a, const std::string& b) {
    const std::string result = IO::combine(a, b);
    const std::size_t leftName = rootNameLength(a);
    const std::size_t rightName = rootNameLength(b);
    const bool rightRooted = rightName < b.size() && isSeparator(b[rightName]);
    if (rightName != 0 &&
        (rightRooted || b.compare(0, rightName, a, 0, leftName) != 0 || leftName != rightName)) {
        TARN_FUZZ_CHECK(result == b); // absolute, or another drive
    } else if (rightRooted) {
        TARN_FUZZ_CHECK(result == a.substr(0, leftName) + b.substr(rightName)); // keeps a's drive
    } else {
        // Relative: a separator joins them unless a is empty, ends in one or is a bare root name.
        const bool joined = !a.empty() && !isSeparator(a.back()) && leftName != a.size();
        TARN_FUZZ_CHECK(result == a + (joined ? "\\" : "") + b.substr(rightName));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const bool once = (Tarn::Fuzz::failOnAssertion(), true);
    (void)once;

    FuzzedDataProvider input(data, size);
    const std::string a = input.ConsumeRandomLengthString(256);
    const std::string b = input.ConsumeRandomLengthString(256);
    const std::string from = input.ConsumeRandomLengthString(8);
    const std::string to = input.ConsumeRandomLengthString(8);
    checkOne(a);
    checkOne(b);
    checkCombine(a, b);

    std::string replaced = a;
    IO::replaceAll(replaced, from, to);
    TARN_FUZZ_CHECK(replaced == referenceReplaceAll(a, from, to));
    return 0;
}
