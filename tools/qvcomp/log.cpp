#include <tools/qvcomp/log.h>

#include <tools/qvcomp/options.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/logger/lgLog.h>

#include <stdlib.h>

namespace Qv {

constinit LgPackageGroup LgGroups::MinorLevelQvcomp( "Qvcomp", "Qvcomp" );

namespace {

void set( const char* variable, const std::string& value ) {
    ::setenv( variable, value.c_str(), 1 );
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
        // No character of the name may be taken for a flag; "+" keeps the text that is there.
        set( "QV_LOG_UNSPECIFIED", ( log.file.front() == '/' ? "+" : "+./" ) + log.file );
    }
}

std::string Comp::getLogFile() {
    return LgLog::isLevelFiled( LgTypes::Informational )
               ? WideStringUtil::narrowMB( LgLog::getLevelFile( LgTypes::Informational ) )
               : "";
}

} // namespace Qv
