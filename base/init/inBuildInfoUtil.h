#pragma once

#include <base/containers/vector.h>
#include <base/init/inBuildInfo.h>
#include <base/ownership/oPtr.h>

namespace Qv {

/// The records of the libraries that the process is made of.
///
/// Threads: records and mode are set while packages start, on that thread; read from any later.
class QV_BASE_API InBuildInfoUtil {
public:
    /// BATCH: nobody sits in front of the application, so it shows no message boxes.
    enum ApplicationModes { BATCH = 0, INTERACTIVE = 1 };

    /// Adds a library's record, which isn't null, and keeps it until the process ends. A record
    /// with the same library name takes the former's place and ends it.
    static InBuildInfo& registerInfo( OPtr<InBuildInfo> info );
    static Vector<const InBuildInfo*> getInfos();

    /// INTERACTIVE until the application says otherwise.
    static ApplicationModes getApplicationMode() noexcept;
    static void setApplicationMode( ApplicationModes mode ) noexcept;
};

} // namespace Qv
