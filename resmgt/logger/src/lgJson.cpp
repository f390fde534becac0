#include <resmgt/logger/src/lgJson.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgMinorGroup.h>
#include <resmgt/profiling/hwCounter.h>

#include <chrono>
#include <cstdio>
#include <system_error>

namespace Qv {

namespace {

using Clock = std::chrono::system_clock;

bool isBetween( wchar_t c, unsigned int first, unsigned int last ) {
    const auto code = static_cast<std::uint32_t>( c );
    return code >= first && code <= last;
}

/// A byte that is no part of UTF-8 is a lone surrogate in wide text.
bool isStrayByte( const std::wstring& text, std::size_t i ) {
    return isBetween( text[i], 0xdc80, 0xdcff ) &&
           ( i == 0 || !isBetween( text[i - 1], 0xd800, 0xdbff ) );
}

void appendEscaped( std::wstring& to, wchar_t c ) {
    wchar_t code[8];
    switch( c ) {
    case L'"':
        to += L"\\\"";
        break;
    case L'\\':
        to += L"\\\\";
        break;
    case L'\n':
        to += L"\\n";
        break;
    case L'\t':
        to += L"\\t";
        break;
    default:
        // The control characters behind ASCII may stand in JSON, but command a terminal.
        if( isBetween( c, 0, 0x1f ) || isBetween( c, 0x7f, 0x9f ) ) {
            std::swprintf( code, std::size( code ), L"\\u%04x", static_cast<unsigned int>( c ) );
            to += code;
        } else {
            to += c;
        }
    }
}

std::string quote( std::string_view text ) {
    const std::wstring wide = WideStringUtil::widen( text );
    std::wstring quoted = L"\"";
    for( std::size_t i = 0; i < wide.size(); ++i ) {
        appendEscaped( quoted, isStrayByte( wide, i ) ? L'\xfffd' : wide[i] );
    }
    return WideStringUtil::narrowMB( quoted + L"\"" );
}

std::string makeTime( Clock::time_point time ) {
    using namespace std::chrono;
    const auto day = floor<days>( time );
    const year_month_day date( day );
    const hh_mm_ss clock( floor<microseconds>( time - day ) );
    char text[64];
    std::snprintf(
        text, sizeof text, "\"%04d-%02u-%02uT%02d:%02d:%02d.%06dZ\"",
        static_cast<int>( date.year() ), static_cast<unsigned int>( date.month() ),
        static_cast<unsigned int>( date.day() ), static_cast<int>( clock.hours().count() ),
        static_cast<int>( clock.minutes().count() ), static_cast<int>( clock.seconds().count() ),
        static_cast<int>( clock.subseconds().count() ) );
    return text;
}

/// By the clock of now, so that a clock that was set doesn't count for what comes after.
Clock::time_point getTime( std::uint64_t stamp, std::uint64_t now ) {
    const std::chrono::duration<double> age( HwCounter::seconds( stamp, now ) );
    return Clock::now() - std::chrono::duration_cast<Clock::duration>( age );
}

/// Takes the head "[group          ] " off the message: a name in its field, which tells it from a
/// text that begins with a bracket.
std::string_view takeGroup( std::string_view& message ) {
    constexpr auto WIDTH = static_cast<std::size_t>( LgMinorGroup::NAME_WIDTH );
    const std::size_t end = message.find( "] " );
    if( !message.starts_with( '[' ) || end == std::string_view::npos || end < WIDTH + 1 ) {
        return {};
    }
    const std::string_view field = message.substr( 1, end - 1 );
    message.remove_prefix( end + 2 );
    return field.substr( 0, field.find_last_not_of( ' ' ) + 1 );
}

std::string makeHead( Clock::time_point time, std::uint64_t stamp ) {
    return "{\"time\":" + makeTime( time ) + ",\"stamp\":" + std::to_string( stamp );
}

} // namespace

std::string LgJson::makeLine( const LgLog::EntryInfo& info, std::string_view message ) {
    const std::uint64_t now = HwCounter::timeStamp();
    const std::uint64_t stamp = info.timeStamp != 0 ? info.timeStamp : now;
    const std::string_view group = takeGroup( message );
    message.remove_suffix( message.ends_with( '\n' ) ? 1 : 0 );
    std::string line = makeHead( getTime( stamp, now ), stamp );
    line += ",\"level\":" + quote( LgTypes::getLevelName( info.level ) );
    line += ",\"group\":" + quote( group );
    line += ",\"thread\":" + quote( info.threadName != nullptr ? info.threadName : "" );
    line += ",\"threadId\":" + std::to_string( info.threadId );
    if( info.lostStatements > 0 ) {
        line += ",\"lost\":" + std::to_string( info.lostStatements );
    }
    return line + ",\"text\":" + quote( message ) + "}\n";
}

std::string LgJson::makeLoss( std::uint64_t nbLines, int error ) {
    return makeHead( Clock::now(), HwCounter::timeStamp() ) +
           ",\"lostLines\":" + std::to_string( nbLines ) +
           ",\"text\":" + quote( std::generic_category().message( error ) ) + "}\n";
}

} // namespace Qv
