#include <Tarn/Reflection/Attribute.h>
#include <Tarn/Reflection/TypeDatabase.h>

namespace Tarn::Reflection {

const Attribute* Attributes::getAttributeByTypeId(TypeId first, TypeId second) const {
    for (const Attribute& attribute : attributes) {
        if (attribute.typeId == first && attribute.keyId == second)
            return &attribute;
    }
    return nullptr;
}

TypeId ColorAttribute::staticTypeId() {
    static const TypeIdCache cache("ColorAttribute");
    return cache.get();
}

ColorAttribute::ColorAttribute() : Attribute(staticTypeId()) {
    builtIn = 1;
}

TypeId SerializableAttribute::staticTypeId() {
    static const TypeIdCache cache("SerializableAttribute");
    return cache.get();
}

SerializableAttribute::SerializableAttribute() : Attribute(staticTypeId()) {
    builtIn = 1;
}

} // namespace Tarn::Reflection
