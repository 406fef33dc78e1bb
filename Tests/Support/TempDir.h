#pragma once

#include <cstdint>
#include <string>

namespace Tarn::Testing {

/// A fresh, empty directory below the system's temporary folder, removed with everything in it
/// when the object goes. Tests create their files only in here.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The directory as UTF-8 text, spelt as the system spells it.
    const std::string& path() const { return root; }
    /// `relative` below the directory, joined with "/" (which every system accepts).
    std::string file(const std::string& relative) const;

    /// Writes `bytes` to `relative` without going through the library; parent folders are created.
    void write(const std::string& relative, const std::string& bytes) const;
    /// The bytes of `relative`, read without going through the library; empty when unreadable.
    std::string read(const std::string& relative) const;
    bool exists(const std::string& relative) const;

private:
    std::string root;
};

/// Sets (or, with a null value, removes) an environment variable for the lifetime of the object,
/// in the runtime's environment and the process's, and restores what was there before.
class ScopedEnvironmentVariable {
public:
    ScopedEnvironmentVariable(const std::string& name, const char* value);
    ~ScopedEnvironmentVariable();
    ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
    ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;

private:
    static void set(const std::string& name, const char* value);
    std::string name;
    std::string previous;
    bool hadPrevious;
};

} // namespace Tarn::Testing
