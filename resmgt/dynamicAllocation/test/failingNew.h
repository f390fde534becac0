#pragma once

#include <cstddef>

namespace Qv {

/// While it lives, all allocations of this thread with `new` fail, except for the first
/// `nbSucceeding`.
class FailingNew {
public:
    explicit FailingNew( int nbSucceeding );
    FailingNew( const FailingNew& ) = delete;
    FailingNew& operator=( const FailingNew& ) = delete;
    ~FailingNew();
};

} // namespace Qv
