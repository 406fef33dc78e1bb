#include <Tarn/ComponentModel/ComponentCollection.h>

namespace Tarn::ComponentModel {

void ComponentCollectionBase::remove(ComponentHandle handle) {
    for (auto it = handles.begin(); it != handles.end(); ++it) {
        if (it->pool == handle.pool && it->index == handle.index && it->typeId == handle.typeId) {
            handles.erase(it);
            return;
        }
    }
}

} // namespace Tarn::ComponentModel
