#pragma once

#include <base/containers/iterator.h>

#include <vector>

namespace Qv {

/// A std::vector that also gives checked iterator handles, see Iterator.
template <class T>
class Vector : public CheckedContainer<std::vector<T>> {
public:
    using CheckedContainer<std::vector<T>>::CheckedContainer;
};

} // namespace Qv
