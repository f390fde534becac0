#pragma once

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>

#include <string>
#include <vector>

namespace Qv {

/// Keeps what the calling thread logs; the other threads' lines go the way of those without a
/// queue.
///
/// REQUIRES: nobody has activated the logger, as the package threads does.
class LoggedLines {
public:
    explicit LoggedLines( const LgQueue::Sizes& sizes = {} )
        : _queue( 7, "stage", sizes ) {
        current = &_queue;
        LgLog::setQueueFunction( [] { return current; } );
        LgLog::setLoggerActivation( true );
    }
    LoggedLines( const LoggedLines& ) = delete;
    LoggedLines& operator=( const LoggedLines& ) = delete;
    ~LoggedLines() {
        LgLog::setLoggerActivation( false );
        LgLog::setQueueFunction( nullptr );
        current = nullptr;
    }

    LgQueue& getQueue() { return _queue; }

    /// Takes the lines that are there; a run of losses is a number in brackets.
    std::vector<std::string> take() { return takeAll( false ); }
    /// The same, each line behind the name of its level and ": ".
    std::vector<std::string> takeWithLevels() { return takeAll( true ); }

private:
    std::vector<std::string> takeAll( bool isWithLevels ) {
        std::vector<std::string> lines;
        std::vector<char> text( _queue.getBufSize() );
        while( !_queue.isEmpty() ) {
            const LgQueue::Entry& entry = _queue.readEntry();
            if( entry.isOverflowEntry() ) {
                lines.push_back( '[' + std::to_string( _queue.takeOverflowCount() ) + ']' );
            } else {
                _queue.copyText( text.data() );
                const std::string level =
                    isWithLevels ? LgTypes::getLevelName( entry.getLevel() ) + std::string( ": " )
                                 : "";
                lines.push_back( level + text.data() );
            }
            _queue.removeEntry();
        }
        if( const std::uint64_t nbMissed = _queue.takeMissedCount(); nbMissed > 0 ) {
            lines.push_back( '[' + std::to_string( nbMissed ) + ']' );
        }
        return lines;
    }

    static inline thread_local LgQueue* current = nullptr;
    LgQueue _queue;
};

} // namespace Qv
