#include <resmgt/logger/lgStatement.h>

#include <base/failure/qvHere.h>
#include <base/trace/trace.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>

#include <array>
#include <cstring>
#include <string_view>

namespace Qv {

namespace {

constexpr std::size_t NAME_WIDTH = LgMinorGroup::NAME_WIDTH;
constexpr std::size_t HEAD_SIZE = NAME_WIDTH + 3;

/// "[", the name, "] ", three pieces that each need their room; one copy where all have it.
void writeHead( LgStream& stream, std::string_view name ) noexcept {
    if( name.size() > NAME_WIDTH ) {
        stream << '[' << name << "] ";
        return;
    }
    std::array<char, HEAD_SIZE> head;
    head.fill( ' ' );
    head.front() = '[';
    std::memcpy( &head[1], name.data(), name.size() );
    head[HEAD_SIZE - 2] = ']';
    const std::string_view text( head.data(), head.size() );
    if( stream.getNumCharacters() >= HEAD_SIZE ) {
        stream << text;
    } else {
        stream << '[' << text.substr( 1, NAME_WIDTH ) << text.substr( HEAD_SIZE - 2 );
    }
}

} // namespace

LgStatement::LgStatement( const LgPackageGroup& group, LgTypes::Level level ) noexcept
    : _group( group )
    , _level( level ) {
    if( !enterQueue() ) {
        beginDirectly();
    }
    if( _stream != nullptr ) {
        writeHead( *_stream, group.getName() );
    }
}

LgStatement::~LgStatement() {
    if( _queue != nullptr ) {
        addEntry();
    } else if( _ownStream ) {
        endDirectly();
    }
}

/// Whether a queue takes the statement, or drops it.
bool LgStatement::enterQueue() noexcept {
    if( !LgLog::isLoggerActive() || _group == nullptr ) {
        return false;
    }
    try {
        LgQueue* const queue = LgLog::getQueue();
        if( queue != nullptr && queue->reserveEntry( _level ) ) {
            _queue = queue;
            _stream = &queue->getStream();
        }
        return queue != nullptr;
    } catch( ... ) {
        return false;
    }
}

void LgStatement::addEntry() noexcept {
    try {
        _stream->completeString();
        _queue->addEntry();
    } catch( ... ) {
        Trace::printCurrentException( "LgStatement", QV_HERE );
    }
}

void LgStatement::beginDirectly() noexcept {
    if( !LgLog::isInactiveOutputAllowed( _level ) ) {
        return;
    }
    try {
        _ownStream = std::make_unique<LgStream>();
        _stream = _ownStream.get();
    } catch( ... ) {
        output( "#" );
    }
}

void LgStatement::endDirectly() noexcept {
    try {
        _ownStream->completeString();
        const std::string text = _ownStream->takeText();
        output( text.c_str() );
    } catch( ... ) {
        output( "#" );
    }
}

void LgStatement::output( const char* text ) noexcept {
    _group != nullptr ? LgLog::outputDirectly( _level, text )
                      : LgLog::printDirectly( _level, text );
}

} // namespace Qv
