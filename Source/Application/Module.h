#pragma once

#include <Tarn/Foundation/Export.h>
#include <Tarn/Strings/StringView.h>

#include <cstdint>

#if defined(_WIN32)
struct HINSTANCE__; // what HMODULE points to
#endif

namespace Tarn {

/// A dynamic library loaded by name, and the functions it exports.
///
/// Short names follow the library's naming convention for its plug-in builds:
///
///     Windows   "Foo" loads Foo.x64.Release.dll; a name containing ".dll" loads unchanged
///     Linux     "Foo" loads libFoo.so;          a name containing ".so" loads unchanged
///
/// A load failure is logged through the "Module" log ("Failed to load %s: Error %#x: %s", with the
/// system's text) and reported through the status; nothing throws. A loaded library stays loaded
/// for the life of the process, deliberately: function pointers taken from it never dangle. Derived
/// modules resolve their function pointers in `initPtrs`, so that a missing optional function of
/// the operating system is a null pointer instead of a load failure of the whole program.
class TARN_API Module {
public:
    /// The outcome of the last load.
    enum class LoadStatus : uint32_t {
        Unloaded = 0, ///< no load attempted
        Loaded = 1,   ///< the library was loaded
        Failed = 2,   ///< the load failed
    };

#if defined(_WIN32)
    /// HMODULE, spelled without <windows.h>.
    using Handle = ::HINSTANCE__*;
#else
    /// What dlopen returned.
    using Handle = void*;
#endif

    /// Unloaded, no handle. Copies share the handle, which is never released.
    ///@{
    Module() = default;
    Module(const Module&) = default;
    Module& operator=(const Module&) = default;
    ///@}
    /// Releases nothing: the library stays loaded.
    virtual ~Module();

    /// Loads the library named `name` (see the class comment); writes the handle (null on failure)
    /// and the status. On Linux a name without "/" is looked for beside the executable first, as
    /// Windows does, and then along the loader's search path.
    static void load(StringView name, LoadStatus& status, Handle& handle);

    /// The exported symbol, or null when this module has no handle or the symbol is missing (no
    /// log line).
    void* getProcAddress(const char* symbolName) const;
    /// The exported symbol of `handle`, or null (a null handle gives null).
    static void* getProcAddress(Handle handle, const char* symbolName);

    /// Resolves a derived module's function pointers; does nothing here.
    virtual void initPtrs();

    /// The status and the handle of the last load (null unless Loaded).
    ///@{
    LoadStatus getLoadStatus() const {
        return loadStatus;
    }
    Handle getHandle() const {
        return handle;
    }
    ///@}

    /// Equal when both the status and the handle are.
    ///@{
    bool operator==(const Module& other) const {
        return loadStatus == other.loadStatus && handle == other.handle;
    }
    bool operator!=(const Module& other) const {
        return !(*this == other);
    }
    ///@}

protected:
    /// What a derived module's loader writes with load(); see getLoadStatus and getHandle.
    ///@{
    LoadStatus loadStatus = LoadStatus::Unloaded;
    Handle handle = nullptr;
    ///@}
};

} // namespace Tarn
