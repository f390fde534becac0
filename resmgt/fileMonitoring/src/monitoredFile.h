#pragma once

#include <base/failure/assertions.h>
#include <base/ownership/oPtr.h>
#include <base/ownership/rcBase.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/fileMonitoring/src/fileChange.h>
#include <resmgt/osal/osFileInfo.h>
#include <resmgt/osal/osFileProbe.h>

#include <cstdint>
#include <optional>
#include <utility>

namespace Qv {

/// A watched file: what is known of it, and the look at what it is now.
///
/// A look finds a change without taking note of it: `keep` does so once the event has been posted,
/// and raises nothing. So an event that can't be posted is found again by the next look.
///
/// Known:   the state that the last look found. As long as no query has succeeded nothing is known,
///          and the first that does gives the baseline.
/// Settled: the last state that two looks in a row found; kept once somebody asks for that form.
/// Threads: the monitor's own, but `getPath` and `getWatch` any.
class MonitoredFile : public RCBase<LkCounter<int>> {
public:
    /// What a look has found: without a change nothing else is of use.
    struct Finding {
        /// Whether a change has been found, and to what the client has seen.
        bool leadsTo( const std::optional<OsFileInfo>& seen ) const {
            return change != FileChange::NONE &&
                   compareInfos( seen ? &*seen : nullptr, info.get() ) == FileChange::NONE;
        }

        FileChange change = FileChange::NONE;
        OsFileMonitor::Form form = OsFileMonitor::EACH_STATE;
        /// When the file got its state: its modification time, the last known one if it is gone.
        OsDateTypes::DateRep time;
        /// The state; null for no file.
        OPtr<OsFileInfo> info;
        std::optional<OsFileStatus> status;
    };

    /// `watch` numbers the watch that its events belong to.
    MonitoredFile( const OsFilePath& path, std::uint64_t watch );

    const OsFilePath& getPath() const noexcept { return _path; }
    std::uint64_t getWatch() const noexcept { return _watch; }

    /// Takes what a client has seen as what is known, nothing being no file.
    void setBaseline( const std::optional<OsFileInfo>& seen );
    bool isKnown() const noexcept { return _isKnown; }
    /// From now on looks find settled states, too. What is known counts as settled at first.
    void beginSettling();

    /// Whether there is nothing to be found. False also when only `look` can say so.
    bool isQuiet( OsFileProbe& probe ) {
        return _isQueried && _isSettled && probe.isStill( _place, _status );
    }
    /// Errors: those of OsFileProbe; what is known stays.
    Finding look();
    /// Has the processor fetch what `isQuiet` reads, the object or what that leads to.
    void prefetch() const noexcept {
        __builtin_prefetch( &_place );
        __builtin_prefetch( &_status + 1 );
    }
    void prefetchName() const noexcept { __builtin_prefetch( _place.getName() ); }
    /// Takes note of what the last look has found.
    void keep( Finding& finding ) noexcept;
    /// What makes the last state of that form differ from what a client has seen.
    /// REQUIRES: `isKnown`, and `beginSettling` has been called for the settled form.
    Finding compareWith( const std::optional<OsFileInfo>& seen, OsFileMonitor::Form form ) const;

    /// Whether the last query failed.
    bool isFailing() const noexcept { return _isFailing; }
    void setFailing( bool isFailing ) noexcept { _isFailing = isFailing; }

private:
    const OsFileInfo& getInfo() const {
        QV_ASSERT( !_info.isNull() );
        return *_info;
    }
    Finding findSettledState();
    /// Takes `info` for what is known, and logs it as `text`.
    void actualize( OPtr<OsFileInfo>& info, const char* text );

    const OsFilePath _path;
    // What an ordinary look reads stands together, from here on.
    const OsFileProbe::Place _place{ _path };
    bool _isQueried = false;
    /// Whether the last two looks have found the same, or nobody asks for that.
    bool _isSettled = true;
    bool _isKnown = false;
    bool _isSettling = false;
    bool _isFailing = false;
    /// What `_info` was made of, if `_isQueried`; a client's baseline was made elsewhere.
    std::optional<OsFileStatus> _status;
    OPtr<OsFileInfo> _info;
    OPtr<OsFileInfo> _settledInfo;
    const std::uint64_t _watch;
};

} // namespace Qv
