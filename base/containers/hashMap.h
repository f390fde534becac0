#pragma once

#include <base/containers/iterator.h>

#include <unordered_map>

namespace Qv {

/// A std::unordered_map that also gives checked iterator handles, see Iterator.
template <class K, class V, class Hash = std::hash<K>, class Equal = std::equal_to<K>>
class HashMap : public CheckedContainer<std::unordered_map<K, V, Hash, Equal>> {
public:
    using CheckedContainer<std::unordered_map<K, V, Hash, Equal>>::CheckedContainer;
};

} // namespace Qv
