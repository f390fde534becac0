#include <resmgt/logger/lgTail.h>

#include <resmgt/logger/src/lgQueueMemory.h>
#include <resmgt/logger/src/lgTailFile.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

namespace Qv {

namespace {

// In seconds since the epoch, some three thousand years: what lies beyond is no time.
constexpr double MAX_TIME = 1.0e11;

/// How much of `total` is left; nothing where a torn copy says that it is less than none.
std::uint64_t getRest( std::uint64_t total, std::uint64_t told ) noexcept {
    return total > told ? total - told : 0;
}

} // namespace

/// A copy of a queue's memory. Of a process that lives it may be torn; nothing is believed that
/// could lead out of it.
class LgTail::Queue {
public:
    explicit Queue( const std::vector<char>& bytes )
        : _words( new Line64[bytes.size() / sizeof( Line64 ) + 1] )
        , _memory( reinterpret_cast<const LgQueueMemory*>( _words.get() ) )
        , _size( bytes.size() ) {
        std::copy( bytes.begin(), bytes.end(), reinterpret_cast<char*>( _words.get() ) );
    }

    bool isValid() const {
        if( _size < sizeof( LgQueueMemory ) ) {
            return false;
        }
        const LgQueueMemory::Head& head = _memory->head;
        return head.magic.load() == LgQueueMemory::MAGIC &&
               std::has_single_bit( head.nbCharacters ) && std::has_single_bit( head.nbEntries ) &&
               LgQueueMemory::getSize( { head.nbCharacters, head.nbEntries } ) <= _size;
    }
    std::uint64_t getProcess() const { return _memory->head.process; }
    std::uint64_t getRun() const { return _memory->head.run; }
    void appendLines( std::vector<Line>& lines ) const;

private:
    struct alignas( LgQueueMemory::LINE ) Line64 {
        char bytes[LgQueueMemory::LINE];
    };

    Line makeLine( std::uint64_t stamp ) const;
    static bool isOverflow( const LgQueue::Entry& entry );
    bool hasText( const LgQueue::Entry& entry ) const;
    std::string getText( const LgQueue::Entry& entry ) const;

    const std::unique_ptr<Line64[]> _words;
    const LgQueueMemory* const _memory;
    const std::size_t _size;
};

LgTail::Line LgTail::Queue::makeLine( std::uint64_t stamp ) const {
    const LgQueueMemory::Head& head = _memory->head;
    Line line;
    line.timeStamp = stamp;
    const double time =
        head.realTime + static_cast<double>( static_cast<std::int64_t>( stamp - head.stamp ) ) /
                            head.ticksPerSecond;
    line.time = std::abs( time ) < MAX_TIME ? time : 0.0;
    line.threadName.assign( head.threadName,
                            ::strnlen( head.threadName, sizeof( head.threadName ) ) );
    line.threadId = head.threadId;
    return line;
}

/// The byte may be any.
bool LgTail::Queue::isOverflow( const LgQueue::Entry& entry ) {
    return reinterpret_cast<const unsigned char&>( entry._oflow ) != 0;
}

/// Unless the reader had finished with it, and was about to remove the entry.
bool LgTail::Queue::hasText( const LgQueue::Entry& entry ) const {
    const auto place = static_cast<std::uint32_t>( entry._place );
    return place - _memory->reader.stream.beg.load() < _memory->head.nbCharacters;
}

std::string LgTail::Queue::getText( const LgQueue::Entry& entry ) const {
    const LgQueueMemory::Head& head = _memory->head;
    const char* const buffer = _memory->getBuffer( head.nbEntries );
    std::string text;
    for( auto place = static_cast<std::uint32_t>( entry._place ) + 1;
         text.size() < head.nbCharacters; ++place ) {
        const char byte = buffer[place & ( head.nbCharacters - 1 )];
        if( byte == '\0' ) {
            break;
        }
        text += byte;
    }
    return text;
}

void LgTail::Queue::appendLines( std::vector<Line>& lines ) const {
    const LgQueueMemory::Owner& owner = _memory->owner;
    const LgQueueMemory::Reader& reader = _memory->reader;
    const std::uint32_t mask = _memory->head.nbEntries - 1;
    const std::uint32_t end = owner.end.load();
    std::uint64_t nbTold = reader.nbTold.load();
    std::uint64_t lastStamp = _memory->head.stamp;
    for( std::uint32_t index = reader.beg.load(); end - index - 1 < mask; ++index ) {
        const LgQueue::Entry& entry = _memory->getEntries()[index & mask];
        Line line = makeLine( entry._timeStamp );
        lastStamp = entry._timeStamp;
        if( isOverflow( entry ) ) {
            line.nbLost = getRest( entry._place + entry._value.load(), nbTold );
            nbTold += line.nbLost;
        } else {
            line.level = static_cast<LgTypes::Level>( std::min(
                entry._value.load(), static_cast<std::uint32_t>( LgTypes::NUM_LEVELS - 1 ) ) );
            line.text = getText( entry );
        }
        if( isOverflow( entry ) ? line.nbLost > 0 : hasText( entry ) ) {
            lines.push_back( line );
        }
    }
    Line rest = makeLine( lastStamp );
    rest.nbLost = getRest( owner.nbLost.load(), nbTold ) +
                  getRest( owner.nbNested.load(), reader.nbNestedTold.load() );
    if( rest.nbLost > 0 ) {
        lines.push_back( rest );
    }
}

std::vector<LgTail::Process> LgTail::read() {
    // One number may have been that of several processes.
    std::map<std::pair<std::uint64_t, std::uint64_t>, Process> processes;
    for( const std::string& name : LgTailFile::list() ) {
        bool isAlive = false;
        const Queue queue( LgTailFile::read( name, isAlive ) );
        if( queue.isValid() ) {
            Process& process = processes[{ queue.getProcess(), queue.getRun() }];
            process.number = queue.getProcess();
            process.isAlive = process.isAlive || isAlive;
            process.files.push_back( name );
            queue.appendLines( process.lines );
        }
    }
    std::vector<Process> sorted;
    for( auto& [key, process] : processes ) {
        std::stable_sort( process.lines.begin(), process.lines.end(),
                          []( const Line& left, const Line& right ) {
                              return left.timeStamp < right.timeStamp;
                          } );
        sorted.push_back( std::move( process ) );
    }
    return sorted;
}

bool LgTail::remove( const Process& process ) {
    return std::count_if( process.files.begin(), process.files.end(), &LgTailFile::removeDead ) ==
           static_cast<std::ptrdiff_t>( process.files.size() );
}

} // namespace Qv
