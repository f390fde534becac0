#include <tools/qvcomp/log.h>

#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/options.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgLog.h>

#include <system_error>

#include <stdlib.h>

namespace Qv {

constinit LgPackageGroup LgGroups::MinorLevelQvcomp( "Qvcomp", "Qvcomp" );

namespace {

void set( const char* variable, const std::string& value ) {
    ::setenv( variable, value.c_str(), 1 );
}

/// As a name of which no character may be taken for a flag.
std::string toPlainName( const std::string& file ) {
    return file.front() == '/' ? file : "./" + file;
}

} // namespace

void Comp::chooseLog( std::span<const char* const> arguments ) {
    const LogOptions log = readLogOptions( arguments );
    LgLog::setInitializeDefaults( LgLog::FILE_BY_DEFAULT );
    // A command's messages are for who started it, not for who looks after the machine.
    ::setenv( "QV_LOG_DISABLE_EVENTLOG", "1", 0 );
    if( !log.level.empty() ) {
        set( "QV_LOG_DEFAULT_LEVEL", log.level );
    }
    if( log.isFileShared ) {
        set( "QV_LOG_UNSPECIFIED", "--" );
    } else if( !log.file.empty() ) {
        // "+" keeps the text that is there.
        set( "QV_LOG_UNSPECIFIED", '+' + toPlainName( log.file ) );
    }
}

void Comp::checkLogFile( const std::string& file ) {
    for( int l = 0; l < LgTypes::NUM_LEVELS; ++l ) {
        const auto level = static_cast<LgTypes::Level>( l );
        const int error = LgLog::getLevelOpenError( level );
        if( error != 0 && !file.empty() &&
            WideStringUtil::narrowMB( LgLog::getLevelFile( level ) ) == toPlainName( file ) ) {
            throw Failure( Tag::LOG_UNOPENED, file, std::generic_category().message( error ) );
        }
    }
}

std::string Comp::getLogFile() {
    return LgLog::isLevelFiled( LgTypes::Informational ) &&
                   LgLog::getLevelOpenError( LgTypes::Informational ) == 0
               ? WideStringUtil::narrowMB( LgLog::getLevelFile( LgTypes::Informational ) )
               : "";
}

} // namespace Qv
