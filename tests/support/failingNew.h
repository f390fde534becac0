#pragma once

#include <cstddef>

namespace Qv {

/// While it lives, all allocations of this thread with `new` fail, except for the first
/// `nbSucceeding`. A test program that uses it names failingNew.cpp among its sources: it replaces
/// the program's allocation functions, and is in no library for that reason.
class FailingNew {
public:
    explicit FailingNew( int nbSucceeding );
    FailingNew( const FailingNew& ) = delete;
    FailingNew& operator=( const FailingNew& ) = delete;
    ~FailingNew();
};

} // namespace Qv
