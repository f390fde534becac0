#pragma once

#include <base/ownership/rcBase.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/osal/osFileInfo.h>
#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <optional>

namespace Qv {

class MonitorThread;

/// What a client asks of the monitored files; executed by the monitor's thread before a pass, so
/// that no client waits for one.
class WatchRequest : public RCBase<LkCounter<int>> {
public:
    WatchRequest() = default;
    WatchRequest( const WatchRequest& ) = delete;
    WatchRequest& operator=( const WatchRequest& ) = delete;

    /// May raise: it is executed again before the next pass then, with the same effect as once.
    virtual void execute( MonitorThread& thread ) const = 0;
};

class AddWatchRequest final : public WatchRequest {
public:
    /// A state that a client has seen, nothing being no file, and the number of its handler.
    struct Baseline {
        std::optional<OsFileInfo> seen;
        std::uint64_t registration;
    };

    AddWatchRequest( const OsFilePath& path, std::uint64_t watch, OsFileMonitor::Form form,
                     const std::optional<Baseline>& baseline )
        : _path( path )
        , _watch( watch )
        , _form( form )
        , _baseline( baseline ) {}

    void execute( MonitorThread& thread ) const override;

private:
    const OsFilePath _path;
    const std::uint64_t _watch;
    const OsFileMonitor::Form _form;
    const std::optional<Baseline> _baseline;
};

class RemoveWatchRequest final : public WatchRequest {
public:
    explicit RemoveWatchRequest( const OsFilePath& path )
        : _path( path ) {}

    void execute( MonitorThread& thread ) const override;

private:
    const OsFilePath _path;
};

class RemoveAllWatchesRequest final : public WatchRequest {
public:
    void execute( MonitorThread& thread ) const override;
};

} // namespace Qv
