#pragma once

#include <base/containers/iterator.h>

#include <deque>

namespace Qv {

/// A std::deque that also gives checked iterator handles, see Iterator.
template <class T>
class Deque : public CheckedContainer<std::deque<T>> {
public:
    using CheckedContainer<std::deque<T>>::CheckedContainer;
};

} // namespace Qv
