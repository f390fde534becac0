#pragma once

#include <base/events/evRequestEvent.h>
#include <base/ownership/oPtr.h>
#include <resmgt/fileMonitoring/osFileMonitor.h>
#include <resmgt/fileMonitoring/src/fileChange.h>
#include <resmgt/osSupport/osDateTypes.h>

#include <cstdint>

namespace Qv {

/// Has the handlers of a watch called on the main thread.
///
/// It knows the watch by its number, which no other has in this process: the event of a watch that
/// has been removed, or whose monitor has ended, does nothing.
class FileEventRequest final : public EvRequestEvent {
public:
    /// All that it says, as numbers and a path.
    struct Content {
        FileChange change = FileChange::NONE;
        OsFilePath path;
        /// When the file got its state.
        OsDateTypes::DateRep time;
        OsFileMonitor::Form form = OsFileMonitor::EACH_STATE;
        std::uint64_t watch = 0;
        /// The one handler that it is for; 0 for all.
        std::uint64_t registration = 0;
    };

    explicit FileEventRequest( const Content& content );
    ~FileEventRequest() override;

    const Content& getContent() const noexcept { return _content; }
    const OsFileEvent& getEvent() const { return *_event; }

    OPtrRet<EvEvent> clone() const override;
    const char* getClassName() const override;
    /// One line: class, change, form, seconds and nanoseconds of the time, watch, registration,
    /// and the path in quotes.
    void dump( std::ostream& stream ) const override;
    void read( std::istream& stream ) override;
    void execute() override;

private:
    Content _content;
    OPtr<OsFileEvent> _event;
};

} // namespace Qv
