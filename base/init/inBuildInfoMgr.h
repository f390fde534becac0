#pragma once

#include <base/init/inBuildInfo.h>
#include <base/ownership/oPtr.h>

namespace Qv {

/// The application's own record.
///
/// Threads: registered while the application starts; read from any thread later.
class QV_BASE_API InBuildInfoMgr {
public:
    /// Keeps the record, which isn't null, until the process ends; a second one takes the former's
    /// place and ends it.
    static void registerAppInfo( OPtr<InBuildInfo> info );
    /// Errors: an assertion when there is no record.
    static const InBuildInfo& getAppInfo();
    static bool isAppInfoRegistered() noexcept;
};

} // namespace Qv
