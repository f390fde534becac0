#include <resmgt/logger/src/lgLevelSettings.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/initVars/envVar.h>

#include <cstddef>
#include <string_view>

namespace Qv {

namespace {

constexpr std::size_t MAX_FLAGS = 3;

enum DefaultsKind { ERROR_DEFAULTS, QUIET_DEFAULTS, TRACE_DEFAULTS, NB_DEFAULTS };

struct LevelVariable {
    LgTypes::Level level;
    DefaultsKind defaults;
    EnvVar variable;
};

EnvVar unspecified( __FILE__, "QV_LOG_UNSPECIFIED", nullptr );

LevelVariable levelVariables[] = {
    { LgTypes::InternalError, ERROR_DEFAULTS, { __FILE__, "QV_LOG_INTERNAL_ERROR", nullptr } },
    { LgTypes::FatalError, ERROR_DEFAULTS, { __FILE__, "QV_LOG_FATAL_ERROR", nullptr } },
    { LgTypes::Error, ERROR_DEFAULTS, { __FILE__, "QV_LOG_RECOVERABLE_ERROR", nullptr } },
    { LgTypes::Warning, ERROR_DEFAULTS, { __FILE__, "QV_LOG_WARNING", nullptr } },
    { LgTypes::UserMessage, ERROR_DEFAULTS, { __FILE__, "QV_LOG_USER_MESSAGE", nullptr } },
    { LgTypes::Support, QUIET_DEFAULTS, { __FILE__, "QV_LOG_SUPPORT_INFO", nullptr } },
    { LgTypes::Informational, QUIET_DEFAULTS, { __FILE__, "QV_LOG_INFORMATIONAL", nullptr } },
    { LgTypes::Profiling, QUIET_DEFAULTS, { __FILE__, "QV_LOG_PROFILING", nullptr } },
    { LgTypes::Tracing, TRACE_DEFAULTS, { __FILE__, "QV_LOG_TRACING", nullptr } } };

bool takeFlag( char flag, LgLog::LevelInfo& info ) {
    switch( flag ) {
    case '%':
        info.echoed = true;
        return true;
    case '+':
        info.appended = true;
        return true;
    case '*':
        info.osLogged = true;
        return true;
    default:
        return false;
    }
}

LgLog::LevelInfo makeDefaults( bool isEchoed, bool isOSLogged, const std::wstring& file ) {
    LgLog::LevelInfo info;
    info.enabled = true;
    info.echoed = isEchoed;
    info.osLogged = isOSLogged;
    info.file = file;
    return info;
}

LgLog::LevelInfo makeTraceDefaults( const LgLevelSettings::Surroundings& surroundings ) {
    if( surroundings.isTraceInMainFile ) {
        return makeDefaults( false, false, surroundings.mainFile );
    }
    return surroundings.isRedirected ? makeDefaults( false, false, surroundings.traceFile )
                                     : makeDefaults( surroundings.isEchoed, false, L"" );
}

} // namespace

LgLog::LevelInfo LgLevelSettings::parseEnvVar( const char* value,
                                               const LgLog::LevelInfo& defaults ) {
    std::string_view rest = value != nullptr ? value : "";
    if( rest.empty() ) {
        return defaults;
    }
    LgLog::LevelInfo info;
    info.enabled = true;
    std::size_t nbFlags = 0;
    while( nbFlags < MAX_FLAGS && nbFlags < rest.size() && takeFlag( rest[nbFlags], info ) ) {
        ++nbFlags;
    }
    if( nbFlags == 0 && rest.starts_with( "--" ) ) {
        info.enabled = false;
        return info;
    }
    info.file = WideStringUtil::widen( rest.substr( nbFlags ) );
    return info;
}

LgLevelSettings::Levels LgLevelSettings::read( const Surroundings& surroundings ) {
    unspecified.refresh();
    const bool isErrorEchoed = surroundings.isEchoed && !surroundings.isRedirected;
    const LgLog::LevelInfo defaults[NB_DEFAULTS] = {
        makeDefaults( isErrorEchoed, surroundings.isOSLogged, surroundings.mainFile ),
        makeDefaults( false, false, surroundings.mainFile ), makeTraceDefaults( surroundings ) };
    Levels levels;
    for( LevelVariable& each : levelVariables ) {
        each.variable.refresh();
        const LgLog::LevelInfo usual =
            parseEnvVar( unspecified.getText(), defaults[each.defaults] );
        levels[static_cast<std::size_t>( each.level )] =
            parseEnvVar( each.variable.getText(), usual );
    }
    return levels;
}

} // namespace Qv
