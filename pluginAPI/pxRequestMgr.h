#pragma once

#include <pluginAPI/pluginAPIApi.h>

namespace Qv {

/// The application's manager of requests, the work that it has put off. The application derives
/// from it and installs one; there is none otherwise.
///
/// Lifetime: installed before other threads ask, removed after them.
/// Threads:  the queries from any; all else on the main thread.
class QV_PLUGINAPI_API PxRequestMgr {
public:
    PxRequestMgr( const PxRequestMgr& ) = delete;
    PxRequestMgr& operator=( const PxRequestMgr& ) = delete;
    virtual ~PxRequestMgr();

    static bool isInitialized() noexcept;
    /// Errors: InSingletonEx::ExNotInitialized when none is installed.
    static PxRequestMgr& getInstance();

    /// Carries out all requests that are pending, those too that come up meanwhile; a test harness
    /// calls it so that one test's work doesn't run into the next.
    virtual void drain() = 0;

protected:
    PxRequestMgr() = default;

    /// Installs `manager`, which stays the caller's. Errors: InSingletonEx::ExAlreadyInitialized.
    static void initialize( PxRequestMgr* manager );
    /// Removes the one that is installed, if any.
    static void finalize() noexcept;
};

} // namespace Qv
