// Owners for Xerces-C objects that are given back with release().
#ifndef TRANSXERCES_H
#define TRANSXERCES_H

#include <memory>

namespace trans {

struct XercesReleaser {
    template <typename T>
    void operator()(T* object) const noexcept {
        if (object != nullptr) {
            object->release();
        }
    }
};

template <typename T>
using XercesPtr = std::unique_ptr<T, XercesReleaser>;

} // namespace trans

#endif // TRANSXERCES_H
