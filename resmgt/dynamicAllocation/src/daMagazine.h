#pragma once

#include <resmgt/locks/lkSList.h>

#include <cstddef>
#include <memory>

namespace Qv {

/// An array of free nodes. A thread keeps the count of the one that it works on; elsewhere a
/// magazine is either full or empty, and its place says which.
class DaMagazine {
public:
    explicit DaMagazine( std::size_t capacity )
        : _nodes( new LkSListNode*[capacity] ) {}

    LkSListNode** getNodes() const noexcept { return _nodes.get(); }

private:
    const std::unique_ptr<LkSListNode*[]> _nodes;
};

} // namespace Qv
