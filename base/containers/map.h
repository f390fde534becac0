#pragma once

#include <base/containers/iterator.h>

#include <map>

namespace Qv {

/// A std::map that also gives checked iterator handles, see Iterator.
template <class K, class V, class Less = std::less<K>>
class Map : public CheckedContainer<std::map<K, V, Less>> {
public:
    using CheckedContainer<std::map<K, V, Less>>::CheckedContainer;
};

} // namespace Qv
