#pragma once

#include <base/debug/dbgTestMgr.h>
#include <resmgt/resmgtApi.h>
#include <resmgt/testing/testGroup.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace Qv {

/// Runs an application's groups of tests. While it lives the process is one that runs tests; one
/// that is made before the packages start has the package `testing` register the application's
/// record.
///
///     TestMgr tests;
///     const InInitGuard packages( argc, argv );
///     tests.add( rates );
///     return tests.run( { "rates.dropFrame" }, std::cout ) == 0 ? 0 : 1;
///
/// After each test the application's PxRequestMgr, if one is installed, is drained, so that no
/// test's work runs into the next one.
///
/// Threads: the main thread.
class QV_RESMGT_API TestMgr : public DbgTestMgr {
public:
    TestMgr();
    ~TestMgr() override;

    /// The group stays the caller's and outlives the runs.
    void add( const TestGroup& group );
    /// Whether each test's end is compared with its start by HmGC, which reports growth of the heap
    /// and, where that is exact, makes it a failure. Off at first.
    void setLeakCheck( bool isOn ) noexcept { _isLeakCheckOn = isOn; }

    /// Runs the tests that are named "group" or "group.test", all of them if no name is given, in
    /// the order in which groups and tests were added, and each once. One line per test and one at
    /// the end go to `report`. Returns the number of failures; a name that no test bears is one.
    int run( const std::vector<std::string>& names, std::ostream& report ) const;

private:
    std::string perform( const TestGroup::Test& test, std::ostream& report ) const;

    std::vector<const TestGroup*> _groups;
    bool _isLeakCheckOn = false;
};

} // namespace Qv
