#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// The root of the test harness's groups of tests, which are destroyed through their own class.
class QV_BASE_API DbgTestGroup {
public:
    DbgTestGroup( const DbgTestGroup& ) = delete;
    DbgTestGroup& operator=( const DbgTestGroup& ) = delete;

protected:
    DbgTestGroup() = default;
    virtual ~DbgTestGroup();
};

} // namespace Qv
