#include <resmgt/logger/test/loggerRun.h>

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/lgMajorGroup.h>

namespace Qv {

LoggerRun::LoggerRun( const Variables& variables ) {
    stop();
    _environment.push_back( std::make_unique<ScopedEnvironment>( "QV_LOG_UNSPECIFIED" ) );
    for( const auto& [name, value] : variables ) {
        _environment.push_back( std::make_unique<ScopedEnvironment>( name, value.c_str() ) );
    }
    try {
        start();
    } catch( ... ) {
        while( !_environment.empty() ) {
            _environment.pop_back();
        }
        start();
        throw;
    }
}

LoggerRun::~LoggerRun() {
    stop();
    while( !_environment.empty() ) {
        _environment.pop_back();
    }
    start();
}

void LoggerRun::stop() {
    LgLog::destroy();
    LgMajorGroup::finalize();
}

void LoggerRun::start() {
    for( const auto disable : { LgLog::disableTimeStamps, LgLog::disableThreadIds,
                                LgLog::disableThreadNames, LgLog::enableLogLevels } ) {
        disable();
    }
    LgLog::init();
}

} // namespace Qv
