#include <resmgt/logger/lgTrace.h>

#include <base/failure/assertions.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/src/lgStandardStreams.h>

#include <cstring>
#include <sstream>
#include <string>
#include <string_view>

namespace Qv {

namespace {

const EnvIntVar synchronousTracing( __FILE__, "QV_SYNCHRONOUS_TRACING", 0 );

constexpr int MAX_SIZE = LgStream::getMaxSize();

void printAtOnce( const LgQueue& queue, const char* text ) {
    std::ostringstream line;
    LgLog::printPrefix( line, 0, LgTypes::Tracing, queue.getThreadName(), queue.getThreadId() );
    line << text << '\n';
    writeStandardOutput( line.str().c_str() );
}

void waitForSpace( LgQueue& q, int len ) {
    q.waitForSpace( len );
    const LgStream& s = q.getStream();
    // Who is woken since there is no reader to wait for any more goes on as without waiting.
    if( LgLog::getBlockingTrace() && LgLog::isLoggerActive() ) {
        QV_ASSERT_TEXT( !q.isFull() && s.getNumCharacters() >= static_cast<unsigned int>( len ),
                        "!q.isFull() && ( s.getNumCharacters() >= static_cast<unsigned int>( "
                        "len ))" );
    }
}

void printQueued( LgQueue& queue, const char* text ) {
    if( queue.reserveEntry( LgTypes::Tracing ) ) {
        queue.getStream() << text << endString;
        queue.addEntry();
    }
}

void printPieces( const std::string_view text ) {
    constexpr std::size_t PIECE = MAX_SIZE - 1;
    for( std::size_t begin = 0; begin < text.size(); begin += PIECE ) {
        LgTrace::print( std::string( text.substr( begin, PIECE ) ).c_str() );
    }
}

} // namespace

void LgTrace::print( const char* mess ) {
    QV_ASSERT( mess );
    if( *mess == '\0' ) {
        return;
    }
    LgQueue* const queue = LgLog::isLoggerActive() ? LgLog::getQueue() : nullptr;
    if( queue == nullptr ) {
        LgLog::outputDirectly( LgTypes::Tracing, mess );
        return;
    }
    if( queue->isOutputSuppressed() ) {
        return;
    }
    if( synchronousTracing.getValue() != 0 ) {
        printAtOnce( *queue, mess );
        return;
    }
    if( LgLog::getBlockingTrace() ) {
        const std::size_t len = std::strlen( mess ) + 1;
        if( len > static_cast<std::size_t>( MAX_SIZE ) ) {
            printPieces( mess );
            return;
        }
        waitForSpace( *queue, static_cast<int>( len ) );
    }
    printQueued( *queue, mess );
}

} // namespace Qv
