#pragma once

#include <gtest/gtest.h>

#include <new>

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

/// Runs `operation` with its first, then its second, ... allocation failing, until it raises no
/// `Exception` any more; returns how often it did. After each run `check` sees, with memory again,
/// whether it has failed.
template <class Exception = std::bad_alloc, class Operation, class Check>
int forEachFailingNew( const Operation& operation, const Check& check ) {
    constexpr int MOST = 10'000;
    bool hasFailed = true;
    int nbSucceeding = 0;
    for( ; hasFailed && nbSucceeding < MOST && !::testing::Test::HasFatalFailure();
         nbSucceeding += hasFailed ? 1 : 0 ) {
        hasFailed = false;
        try {
            const FailingNew failing( nbSucceeding );
            operation();
        } catch( const Exception& ) {
            hasFailed = true;
        }
        check( hasFailed );
    }
    EXPECT_LT( nbSucceeding, MOST );
    return nbSucceeding;
}

template <class Operation>
int forEachFailingNew( const Operation& operation ) {
    return forEachFailingNew( operation, []( bool ) {} );
}

} // namespace Qv
