#include <resmgt/logger/lgQueue.h>

#include <base/failure/assertions.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/logger/src/lgQueueMemory.h>
#include <resmgt/profiling/hwCounter.h>

#include <bit>
#include <chrono>
#include <cstdio>
#include <limits>
#include <utility>

namespace Qv {

namespace {

constexpr auto RELAXED = std::memory_order_relaxed;
constexpr auto ACQUIRE = std::memory_order_acquire;
constexpr auto RELEASE = std::memory_order_release;

// Of all destroyed queues; written by their readers.
constinit std::atomic<std::uint64_t> nbUnread{ 0 };

/// For a counter with one writer.
void increment( std::atomic<std::uint64_t>& counter, std::uint64_t number = 1 ) noexcept {
    counter.store( counter.load( RELAXED ) + number, RELAXED );
}

std::uint64_t getUnreported( std::uint64_t total,
                             const std::atomic<std::uint64_t>& reported ) noexcept {
    const std::uint64_t former = reported.load( RELAXED );
    return total > former ? total - former : 0;
}

std::uint64_t getRealTime() noexcept {
    return static_cast<std::uint64_t>( std::chrono::duration_cast<std::chrono::nanoseconds>(
                                           std::chrono::system_clock::now().time_since_epoch() )
                                           .count() );
}

void fillHead( LgQueueMemory::Head& head, unsigned long threadId, const char* threadName,
               const LgQueue::Sizes& sizes ) {
    static const std::uint64_t run = getRealTime();
    head.run = run;
    head.threadId = threadId;
    head.nbCharacters = sizes.nbCharacters;
    head.nbEntries = sizes.nbEntries;
    head.ticksPerSecond =
        static_cast<double>( HwCounter::getRateNumerator() ) / HwCounter::getRateDenominator();
    head.stamp = HwCounter::timeStamp();
    head.realTime = static_cast<double>( getRealTime() ) * 1.0e-9;
    std::snprintf( head.threadName, sizeof( head.threadName ), "%s", threadName );
    head.magic.store( LgQueueMemory::MAGIC, RELEASE );
}

const EnvIntVar tail( __FILE__, "QV_LOG_TAIL", 0 );

} // namespace

struct LgQueue::Home {
    explicit Home( const Sizes& sizes )
        : place( LgQueueMemory::create( sizes, tail.getValue() != 0 ) ) {}
    Home( const Home& ) = delete;
    Home& operator=( const Home& ) = delete;
    ~Home() { LgQueueMemory::destroy( place ); }

    const LgQueueMemory::Place place;
};

LgQueue::LgQueue( unsigned long threadId, const char* threadName, const Sizes& sizes )
    : LgQueue( threadId, threadName != nullptr ? threadName : "", sizes,
               std::make_unique<Home>( sizes ) ) {}

LgQueue::LgQueue( unsigned long threadId, const char* threadName, const Sizes& sizes,
                  std::unique_ptr<Home> home )
    : LgStream( home->place.memory->owner.stream, home->place.memory->reader.stream,
                home->place.memory->getBuffer( sizes.nbEntries ), sizes.nbCharacters )
    , _home( std::move( home ) )
    , _memory( _home->place.memory )
    , _entries( _memory->getEntries() )
    , _sizes( sizes )
    , _threadId( threadId )
    , _threadName( threadName ) {
    fillHead( _memory->head, threadId, threadName, sizes );
}

LgQueue::~LgQueue() {
    if( !LgQueueMemory::isOfThisProcess( _home->place ) ) {
        return;
    }
    std::uint64_t nbLeft = takeMissedCount();
    const std::uint32_t end = _memory->owner.end.load( ACQUIRE );
    for( std::uint32_t index = _memory->reader.beg.load( RELAXED ); index != end; ++index ) {
        nbLeft += entryAt( index ).isOverflowEntry() ? 0U : 1U;
    }
    nbUnread.fetch_add( nbLeft, RELAXED );
}

std::uint64_t LgQueue::getNbUnread() noexcept {
    return nbUnread.load( RELAXED );
}

LgQueue::Entry& LgQueue::entryAt( std::uint32_t index ) const noexcept {
    return _entries[index & ( _sizes.nbEntries - 1 )];
}

bool LgQueue::reserveEntry( LgTypes::Level level ) noexcept {
    LgQueueMemory::Owner& owner = _memory->owner;
    if( owner.suppressCount.load( RELAXED ) > 0 ) {
        return false;
    }
    if( owner.stamp.load( RELAXED ) != NO_STATEMENT ) {
        increment( owner.nbNested );
        return false;
    }
    owner.stamp.store( NOT_STAMPED, RELAXED );
    std::atomic_signal_fence( std::memory_order_seq_cst );
    if( takeEntry( level ) ) {
        return true;
    }
    std::atomic_signal_fence( std::memory_order_seq_cst );
    owner.stamp.store( NO_STATEMENT, RELEASE );
    return false;
}

bool LgQueue::takeEntry( LgTypes::Level level ) noexcept {
    LgQueueMemory::Owner& owner = _memory->owner;
    const std::uint32_t end = owner.end.load( RELAXED );
    if( hasNoRoom() || isNearlyFull( end ) ) {
        countLoss( end );
        return false;
    }
    Entry& entry = entryAt( end );
    const std::uint64_t stamp = HwCounter::timeStamp();
    entry._timeStamp = stamp;
    entry._oflow = false;
    entry._value.store( static_cast<std::uint32_t>( level ), RELAXED );
    entry._place = getLastEnd();
    resetOutputFlags();
    owner.stamp.store( stamp, RELAXED );
    return true;
}

/// Whether a statement would leave no room for an overflow entry, by the reader's last known index
/// at first.
bool LgQueue::isNearlyFull( std::uint32_t end ) noexcept {
    LgQueueMemory::Owner& owner = _memory->owner;
    if( end - owner.begSeen + 2 < _sizes.nbEntries ) {
        return false;
    }
    owner.begSeen = _memory->reader.beg.load( ACQUIRE );
    return end - owner.begSeen + 2 >= _sizes.nbEntries;
}

void LgQueue::countLoss( std::uint32_t end ) noexcept {
    LgQueueMemory::Owner& owner = _memory->owner;
    const std::uint64_t nbLostBefore = owner.nbLost.load( RELAXED );
    // Ahead of what the reader may see of it in the entry.
    owner.nbLost.store( nbLostBefore + 1, RELAXED );
    Entry& last = entryAt( end - 1 );
    if( last._oflow ) {
        last.increment();
        return;
    }
    Entry& entry = entryAt( end );
    entry._timeStamp = HwCounter::timeStamp();
    entry._oflow = true;
    entry._value.store( 1, RELAXED );
    entry._place = nbLostBefore;
    owner.end.store( end + 1, RELEASE );
}

void LgQueue::addEntry() {
    LgQueueMemory::Owner& owner = _memory->owner;
    if( owner.stamp.load( RELAXED ) <= NOT_STAMPED ) {
        return;
    }
    const std::uint32_t end = owner.end.load( RELAXED );
    const auto place = static_cast<std::uint32_t>( entryAt( end )._place );
    const bool hasText = ( getOutputFlags() & TEXT_WRITTEN ) != 0;
    if( !hasText ) {
        rollBack( place );
    } else {
        if( getLastEnd() == place ) {
            completeString();
        }
        const std::uint32_t nbUsed = end - owner.begSeen;
        QV_ASSERT_TEXT( nbUsed + 1 < _sizes.nbEntries, "_end+1U != _beg" );
        QV_ASSERT_TEXT( nbUsed + 2 < _sizes.nbEntries, "_end+2U != _beg" );
        owner.end.store( end + 1, RELEASE );
    }
    std::atomic_signal_fence( std::memory_order_seq_cst );
    owner.stamp.store( NO_STATEMENT, RELEASE );
    if( hasText && _observer ) {
        _observer->entryAdded( *this, end & ( _sizes.nbEntries - 1 ) );
    }
}

void LgQueue::waitForSpace( int nbCharacters ) {
    if( !isOutputSuppressed() && _observer ) {
        _observer->waitForSpace( *this, nbCharacters );
    }
}

void LgQueue::creatorExit() noexcept {
    _memory->owner.isAlive.store( false, RELEASE );
}

void LgQueue::creatorExit( LgQueue* queue ) noexcept {
    if( queue != nullptr ) {
        queue->creatorExit();
    }
}

OPtrRet<LgQueue::Observer> LgQueue::changeObserver( OPtr<Observer> observer ) {
    QV_ASSERT( _observer.isNull() );
    OPtr<Observer> former( _observer );
    _observer = observer;
    return former;
}

bool LgQueue::isEmpty() const noexcept {
    return getNbEntries() == 0;
}

unsigned int LgQueue::getNbEntries() const noexcept {
    // The reader's index first: it never passes the owner's.
    const std::uint32_t beg = _memory->reader.beg.load( RELAXED );
    return _memory->owner.end.load( ACQUIRE ) - beg;
}

const LgQueue::Entry& LgQueue::readEntry() const {
    QV_ASSERT_TEXT( !isEmpty(), "_beg != _end" );
    return entryAt( _memory->reader.beg.load( RELAXED ) );
}

std::size_t LgQueue::copyText( char* text ) const {
    const Entry& entry = readEntry();
    if( entry._oflow ) {
        text[0] = '\0';
        return 0;
    }
    return LgStream::copyText( static_cast<std::uint32_t>( entry._place ), text );
}

void LgQueue::removeEntry() {
    const Entry& entry = readEntry();
    if( !entry._oflow ) {
        releaseText( static_cast<std::uint32_t>( entry._place ) );
    }
    std::atomic<std::uint32_t>& beg = _memory->reader.beg;
    beg.store( beg.load( RELAXED ) + 1, RELEASE );
    if( _observer ) {
        _observer->entryRemoved( *this );
    }
}

LgQueue::Losses LgQueue::getOverflowLosses() const {
    const Entry& entry = readEntry();
    return { .nbLost =
                 getUnreported( entry._place + entry.getOverflowCount(), _memory->reader.nbTold ) };
}

LgQueue::Losses LgQueue::getMissedLosses() const noexcept {
    const LgQueueMemory::Owner& owner = _memory->owner;
    const LgQueueMemory::Reader& reader = _memory->reader;
    return { .nbLost = getUnreported( owner.nbLost.load( RELAXED ), reader.nbTold ),
             .nbNested = getUnreported( owner.nbNested.load( RELAXED ), reader.nbNestedTold ) };
}

bool LgQueue::hasMissed() const noexcept {
    return getMissedLosses().getCount() > 0;
}

void LgQueue::noteReported( const Losses& losses ) noexcept {
    increment( _memory->reader.nbTold, losses.nbLost );
    increment( _memory->reader.nbNestedTold, losses.nbNested );
}

std::uint64_t LgQueue::takeOverflowCount() {
    const Losses losses = getOverflowLosses();
    noteReported( losses );
    return losses.getCount();
}

std::uint64_t LgQueue::takeMissedCount() noexcept {
    const Losses losses = getMissedLosses();
    noteReported( losses );
    return losses.getCount();
}

std::uint64_t LgQueue::getStampBeingWritten() const noexcept {
    return _memory->owner.stamp.load( ACQUIRE );
}

bool LgQueue::isCreatorAlive() const noexcept {
    return _memory->owner.isAlive.load( ACQUIRE );
}

bool LgQueue::isFull() const noexcept {
    const std::uint32_t beg = _memory->reader.beg.load( ACQUIRE );
    return _memory->owner.end.load( RELAXED ) - beg + 2 >= _sizes.nbEntries;
}

bool LgQueue::isOutputSuppressed() const noexcept {
    return _memory->owner.suppressCount.load( RELAXED ) > 0;
}

void LgQueue::Entry::setOverflowEntry( bool isOverflow ) noexcept {
    if( isOverflow != _oflow ) {
        _oflow = isOverflow;
        _value.store( isOverflow ? 1 : static_cast<std::uint32_t>( LgTypes::Tracing ), RELAXED );
    }
}

LgTypes::Level LgQueue::Entry::getLevel() const {
    QV_ASSERT( !_oflow );
    return static_cast<LgTypes::Level>( _value.load( RELAXED ) );
}

void LgQueue::Entry::setLevel( LgTypes::Level level ) {
    QV_ASSERT( !_oflow );
    _value.store( static_cast<std::uint32_t>( level ), RELAXED );
}

std::uint32_t LgQueue::Entry::getOverflowCount() const {
    QV_ASSERT( _oflow );
    return _value.load( ACQUIRE );
}

void LgQueue::Entry::incOverflowCount() {
    QV_ASSERT( _oflow );
    increment();
}

void LgQueue::Entry::increment() noexcept {
    const std::uint32_t count = _value.load( RELAXED );
    if( count != std::numeric_limits<std::uint32_t>::max() ) {
        _value.store( count + 1, RELEASE );
    }
}

LgQueue::Observer::~Observer() = default;

LgQueue::SuppressGuard::SuppressGuard( const LgQueue& queue ) noexcept
    : _queue( queue ) {
    std::atomic<int>& count = _queue._memory->owner.suppressCount;
    count.store( count.load( RELAXED ) + 1, RELAXED );
}

LgQueue::SuppressGuard::~SuppressGuard() {
    std::atomic<int>& count = _queue._memory->owner.suppressCount;
    count.store( count.load( RELAXED ) - 1, RELAXED );
}

} // namespace Qv
