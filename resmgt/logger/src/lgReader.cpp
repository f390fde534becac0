#include <resmgt/logger/lgReader.h>

#include <base/failure/assertions.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/lgRegistry.h>
#include <resmgt/profiling/hwCounter.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <limits>
#include <sstream>
#include <string>

namespace Qv {

namespace {

constexpr std::uint64_t NONE = std::numeric_limits<std::uint64_t>::max();

/// Removes the first entry at the end of a scope, however its output went.
class Removal {
public:
    explicit Removal( LgQueue& queue )
        : _queue( queue ) {}
    Removal( const Removal& ) = delete;
    Removal& operator=( const Removal& ) = delete;
    ~Removal() { _queue.removeEntry(); }

private:
    LgQueue& _queue;
};

std::string makePrefix( const LgLog::EntryInfo& info ) {
    std::ostringstream prefix;
    LgLog::printPrefix( prefix, info.timeStamp, info.level, info.threadName, info.threadId );
    return prefix.str();
}

/// Nothing fails between the moment when `takeCount` takes the losses and their line.
template <class TakeCount>
void outputOverflow( const LgQueue& queue, std::uint64_t timeStamp, const TakeCount& takeCount ) {
    LgLog::EntryInfo info{ LgTypes::Informational, timeStamp, queue.getThreadName(),
                           queue.getThreadId() };
    std::string line = makePrefix( info );
    std::array<char, 64> text{};
    line.reserve( line.size() + text.size() );
    info.lostStatements = takeCount();
    if( info.lostStatements > 0 ) {
        std::snprintf( text.data(), text.size(), "Event overflow [%" PRIu64 "]\n",
                       info.lostStatements );
        LgLog::outputEntry( info, line.append( text.data() ).c_str(), "" );
    }
}

} // namespace

LgReader::LgReader() = default;

LgReader::~LgReader() = default;

void LgReader::setCrashTime() {
    std::uint64_t none = 0;
    _crashTime.compare_exchange_strong( none, HwCounter::timeStamp(), std::memory_order_relaxed );
}

void LgReader::updateQueues() {
    const LgRegistry* const registry = LgLog::getRegistry();
    const unsigned long long version = registry != nullptr ? registry->getVersion() : 0;
    if( version == _version ) {
        return;
    }
    _queues.clear();
    if( registry != nullptr ) {
        // A change from now on gives another number, and another copy.
        const List<LgQueue*> queues = registry->getQueueList();
        _queues.assign( queues.begin(), queues.end() );
    }
    _version = version;
}

bool LgReader::eventsPending() {
    updateQueues();
    return std::any_of( _queues.begin(), _queues.end(),
                        []( const LgQueue* queue ) { return !queue->isEmpty(); } );
}

bool LgReader::flushEarliest() {
    updateQueues();
    const std::uint64_t passStart = LgLog::beginLook();
    LgQueue* const earliest = findEarliest();
    const std::uint64_t stamp = earliest != nullptr ? earliest->readEntry().getTimeStamp() : NONE;
    const std::uint64_t handled = std::min( { passStart, stamp - 1, _earliestWritten - 1 } );
    if( earliest == nullptr ) {
        for( LgQueue* const queue : _queues ) {
            flushMissed( *queue );
        }
        // Who waits for this finds the losses counted, too.
        LgLog::noteHandled( handled );
        return false;
    }
    LgLog::noteHandled( handled );
    const std::uint64_t crashTime = _crashTime.load( std::memory_order_relaxed );
    if( crashTime != 0 && stamp > crashTime ) {
        return false;
    }
    flushQueue( *earliest );
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
LgQueue* LgReader::findEarliest() {
    LgQueue* earliest = nullptr;
    std::uint64_t earliestStamp = NONE;
    _earliestWritten = NONE;
    for( auto place = _queues.begin(); place != _queues.end(); ) {
        LgQueue& queue = **place;
        // Both before the entries: what its owner did before is seen then.
        const bool isCreatorAlive = queue.isCreatorAlive();
        const std::uint64_t written = queue.getStampBeingWritten();
        if( !queue.isEmpty() ) {
            const std::uint64_t stamp = queue.readEntry().getTimeStamp();
            if( earliest == nullptr || stamp < earliestStamp ) {
                earliest = &queue;
                earliestStamp = stamp;
            }
        } else if( earliest == nullptr && !isCreatorAlive ) {
            // First, since its output may raise.
            flushMissed( queue );
            place = _queues.erase( place );
            destroyQueue( queue );
            continue;
        }
        if( written != LgQueue::NO_STATEMENT ) {
            _earliestWritten = std::min( _earliestWritten, written );
        }
        ++place;
    }
    return earliest;
}

void LgReader::destroyQueue( LgQueue& queue ) {
    const OPtr<LgQueue> owner( &queue );
    LgLog::getRegistry()->deregisterQueue( &queue );
}

void LgReader::flushMissed( LgQueue& queue ) {
    if( queue.hasMissed() ) {
        outputOverflow( queue, HwCounter::timeStamp(), [&] { return queue.takeMissedCount(); } );
    }
}

/// An entry stays while there is no memory for its line.
void LgReader::flushQueue( LgQueue& queue ) {
    QV_ASSERT( !queue.isEmpty() );
    LgLog::noteQueueLevel( queue.getNbEntries() );
    const LgQueue::Entry& entry = queue.readEntry();
    if( entry.isOverflowEntry() ) {
        outputOverflow( queue, entry.getTimeStamp(), [&] { return queue.takeOverflowCount(); } );
        queue.removeEntry();
        return;
    }
    const LgLog::EntryInfo info{ entry.getLevel(), entry.getTimeStamp(), queue.getThreadName(),
                                 queue.getThreadId() };
    const std::string prefix = makePrefix( info );
    // With room for the end of the line.
    _text.resize( queue.getBufSize() + std::size_t{ 1 } );
    const Removal removal( queue );
    const std::size_t nextSize = queue.copyText( _text.data() );
    QV_ASSERT_TEXT( nextSize < queue.getBufSize(), "q->getStream().getNextSize() < BufSize" );
    _text[nextSize] = '\n';
    _text[nextSize + 1] = '\0';
    LgLog::outputEntry( info, prefix.c_str(), _text.data() );
}

} // namespace Qv
