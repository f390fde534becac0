#pragma once

#include <base/containers/iterator.h>

#include <list>

namespace Qv {

/// A std::list that also gives checked iterator handles, see Iterator.
template <class T>
class List : public CheckedContainer<std::list<T>> {
public:
    using CheckedContainer<std::list<T>>::CheckedContainer;
};

} // namespace Qv
