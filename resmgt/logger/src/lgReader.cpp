#include <resmgt/logger/lgReader.h>

#include <base/containers/list.h>
#include <base/failure/assertions.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/profiling/hwCounter.h>

#include <algorithm>
#include <limits>
#include <string>

namespace Qv {

namespace {

constexpr std::uint64_t NONE = std::numeric_limits<std::uint64_t>::max();

std::uint64_t getFirstStamp( const LgQueue& queue ) {
    return queue.isEmpty() ? NONE : queue.readEntry().getTimeStamp();
}

/// Removes the first entry at the end of a scope, however its output went.
class Removal {
public:
    Removal( LgQueue& queue, std::uint64_t& firstStamp )
        : _queue( queue )
        , _firstStamp( firstStamp ) {}
    Removal( const Removal& ) = delete;
    Removal& operator=( const Removal& ) = delete;
    ~Removal() {
        _queue.removeEntry();
        _firstStamp = getFirstStamp( _queue );
    }

private:
    LgQueue& _queue;
    std::uint64_t& _firstStamp;
};

/// The losses are reported only once their line is written: a kill in between leaves them in both.
void outputOverflow( LgQueue& queue, std::uint64_t timeStamp, const LgQueue::Losses& losses ) {
    if( losses.getCount() == 0 ) {
        return;
    }
    const LgLog::EntryInfo info{ LgTypes::Informational, timeStamp, queue.getThreadName(),
                                 queue.getThreadId(), losses.getCount() };
    std::string line;
    LgLog::appendPrefix( line, info );
    line += "Event overflow [" + std::to_string( losses.getCount() ) + "]\n";
    LgLog::outputEntry( info, line.c_str(), "" );
    queue.noteReported( losses );
}

} // namespace

LgReader::LgReader() = default;

LgReader::~LgReader() = default;

void LgReader::setCrashTime() {
    std::uint64_t none = 0;
    _crashTime.compare_exchange_strong( none, HwCounter::timeStamp(), std::memory_order_relaxed );
}

void LgReader::updateSources() {
    const LgRegistry* const registry = LgLog::getRegistry();
    const unsigned long long version = registry != nullptr ? registry->getVersion() : 0;
    if( version == _version ) {
        return;
    }
    _sources.clear();
    if( registry != nullptr ) {
        // A change from now on gives another number, and another copy.
        for( LgQueue* const queue : registry->getQueueList() ) {
            _sources.push_back( { queue, NONE } );
        }
    }
    _version = version;
}

bool LgReader::eventsPending() {
    updateSources();
    return std::any_of( _sources.begin(), _sources.end(),
                        []( const Source& source ) { return !source.queue->isEmpty(); } );
}

bool LgReader::flushEarliest() {
    updateSources();
    const bool isFlushWanted = LgLog::isFlushWanted();
    const std::uint64_t now = isFlushWanted ? LgLog::beginLook() : HwCounter::timeStamp();
    Source* const earliest = findEarliest();
    const std::uint64_t stamp = earliest != nullptr ? earliest->firstStamp : NONE;
    if( earliest == nullptr ) {
        for( const Source& source : _sources ) {
            flushMissed( *source.queue );
        }
    }
    if( isFlushWanted ) {
        // Who waits for this finds losses counted, too.
        LgLog::noteHandled( std::min( { now, stamp - 1, _earliestWritten - 1 } ) );
    }
    if( earliest == nullptr ) {
        return false;
    }
    const std::uint64_t crashTime = _crashTime.load( std::memory_order_relaxed );
    if( crashTime != 0 && stamp > crashTime ) {
        return false;
    }
    flushQueue( *earliest, now );
    return true;
}

void LgReader::flushAll() {
    while( flushEarliest() ) {}
}

bool LgReader::isAwaitingStatement() const noexcept {
    const std::uint64_t crashTime = _crashTime.load( std::memory_order_relaxed );
    return _earliestWritten != NONE && ( crashTime == 0 || _earliestWritten <= crashTime );
}

/// Of the queues that aren't empty. Those before the first such one whose owners have ended are
/// destroyed on the way.
LgReader::Source* LgReader::findEarliest() {
    Source* earliest = nullptr;
    _earliestWritten = NONE;
    for( auto place = _sources.begin(); place != _sources.end(); ) {
        Source& source = *place;
        if( source.firstStamp == NONE && !lookAt( source ) && earliest == nullptr ) {
            LgQueue& queue = *source.queue;
            // First, since its output may raise.
            flushMissed( queue );
            place = _sources.erase( place );
            destroyQueue( queue );
            continue;
        }
        if( source.firstStamp != NONE &&
            ( earliest == nullptr || source.firstStamp < earliest->firstStamp ) ) {
            earliest = &source;
        }
        ++place;
    }
    return earliest;
}

/// Looks whether a queue that was empty still is. False if it is, and its owner has ended.
bool LgReader::lookAt( Source& source ) {
    const LgQueue& queue = *source.queue;
    // Both before the entries: what its owner did before is seen then.
    const bool isCreatorAlive = queue.isCreatorAlive();
    const std::uint64_t written = queue.getStampBeingWritten();
    source.firstStamp = getFirstStamp( queue );
    if( source.firstStamp == NONE && written != LgQueue::NO_STATEMENT ) {
        _earliestWritten = std::min( _earliestWritten, written );
    }
    return isCreatorAlive || source.firstStamp != NONE;
}

void LgReader::destroyQueue( LgQueue& queue ) {
    const OPtr<LgQueue> owner( &queue );
    LgLog::getRegistry()->deregisterQueue( &queue );
}

void LgReader::flushMissed( LgQueue& queue ) {
    if( queue.hasMissed() ) {
        outputOverflow( queue, HwCounter::timeStamp(), queue.getMissedLosses() );
    }
}

void LgReader::flushQueue( Source& source, std::uint64_t now ) {
    LgQueue& queue = *source.queue;
    QV_ASSERT( !queue.isEmpty() );
    LgLog::noteQueueLevel( queue.getNbEntries() );
    const LgQueue::Entry& entry = queue.readEntry();
    if( entry.isOverflowEntry() ) {
        outputOverflow( queue, entry.getTimeStamp(), queue.getOverflowLosses() );
        const Removal removal( queue, source.firstStamp );
    } else {
        outputText( source, now );
    }
}

/// The entry stays while there is no memory for its line.
void LgReader::outputText( Source& source, std::uint64_t now ) {
    LgQueue& queue = *source.queue;
    const LgQueue::Entry& entry = queue.readEntry();
    const LgLog::EntryInfo info{ entry.getLevel(),
                                 entry.getTimeStamp(),
                                 queue.getThreadName(),
                                 queue.getThreadId(),
                                 0,
                                 now };
    _prefix.clear();
    LgLog::appendPrefix( _prefix, info );
    // With room for the end of the line.
    _text.resize( queue.getBufSize() + std::size_t{ 1 } );
    const Removal removal( queue, source.firstStamp );
    const std::size_t nextSize = queue.copyText( _text.data() );
    QV_ASSERT_TEXT( nextSize < queue.getBufSize(), "q->getStream().getNextSize() < BufSize" );
    _text[nextSize] = '\n';
    _text[nextSize + 1] = '\0';
    LgLog::outputEntry( info, _prefix.c_str(), _text.data() );
}

} // namespace Qv
