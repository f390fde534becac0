#pragma once

#include <base/containers/iterator.h>

#include <set>

namespace Qv {

/// A std::set that also gives checked iterator handles, see ConstIterator.
template <class T, class Less = std::less<T>>
class Set : public CheckedContainer<std::set<T, Less>> {
public:
    using CheckedContainer<std::set<T, Less>>::CheckedContainer;
};

} // namespace Qv
