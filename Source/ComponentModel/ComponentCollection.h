#pragma once

#include <Tarn/ComponentModel/ComponentHandle.h>
#include <Tarn/Foundation/Export.h>

#include <cstddef>
#include <vector>

namespace Tarn::ComponentModel {

/// A list of component handles in insertion order: the components of an entity, and the result
/// of searches that can find several.
class TARN_API ComponentCollectionBase {
public:
    /// Appends the handle; duplicates are kept.
    void add(ComponentHandle handle) { handles.push_back(handle); }
    /// Erases the first handle with the same pool, slot and type, whatever its generation, so that
    /// a handle to a released component still removes its entry. Nothing happens when none matches.
    void remove(ComponentHandle handle);
    /// Removes every handle; the components are not touched.
    void clear() { handles.clear(); }

    /// The handles in insertion order: their number, one by index (no bounds check) and a range for
    /// range-for. Handles may be stale; resolve each before use.
    ///@{
    size_t size() const { return handles.size(); }
    bool empty() const { return handles.empty(); }
    const ComponentHandle& operator[](size_t index) const { return handles[index]; }
    std::vector<ComponentHandle>::const_iterator begin() const { return handles.begin(); }
    std::vector<ComponentHandle>::const_iterator end() const { return handles.end(); }
    ///@}

private:
    std::vector<ComponentHandle> handles;
};

} // namespace Tarn::ComponentModel
