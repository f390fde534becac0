#pragma once

#include <base/debug/dbgTestGroup.h>
#include <resmgt/resmgtApi.h>

#include <functional>
#include <string>
#include <vector>

namespace Qv {

/// Tests under one name, for a TestMgr.
///
///     TestGroup rates( "rates" );
///     rates.add( "dropFrame", [] { QV_ASSERT( ... ); } );
class QV_RESMGT_API TestGroup : public DbgTestGroup {
public:
    /// A test fails by raising anything.
    struct Test {
        /// The name that a report prints.
        std::string name;
        /// What runs.
        std::function<void()> body;
    };

    explicit TestGroup( std::string name );
    ~TestGroup() override;

    /// Behind those that were added before.
    void add( std::string name, std::function<void()> body );

    const std::string& getName() const noexcept { return _name; }
    const std::vector<Test>& getTests() const noexcept { return _tests; }

private:
    const std::string _name;
    std::vector<Test> _tests;
};

} // namespace Qv
