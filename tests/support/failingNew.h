#pragma once

#include <cstddef>

namespace Qv {

/// While it lives, all allocations of this thread with `new` fail, except for the first
/// `nbSucceeding`, and for those that come after `nbFailing` have failed. A test program that uses
/// it names failingNew.cpp among its sources: it replaces the program's allocation functions, and
/// is in no library for that reason. In such a program a wish for more than 2^40 bytes always
/// fails.
class FailingNew {
public:
    explicit FailingNew( int nbSucceeding );
    FailingNew( int nbSucceeding, int nbFailing );
    FailingNew( const FailingNew& ) = delete;
    FailingNew& operator=( const FailingNew& ) = delete;
    ~FailingNew();

    /// On the calling thread, since the last FailingNew was made there.
    int getNbFailed() const noexcept;
};

} // namespace Qv
