#include <resmgt/logger/src/lgLogStart.h>

#include <base/failure/assertions.h>
#include <base/failure/exWrapper.h>
#include <base/text/exStdout.h>
#include <base/trace/traceManager.h>
#include <resmgt/initConfig/inPaths.h>
#include <resmgt/initVars/envVar.h>
#include <resmgt/logger/lgMajorGroup.h>
#include <resmgt/logger/lgSimpleRegistry.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/logger/src/lgFile.h>
#include <resmgt/logger/src/lgFolder.h>
#include <resmgt/logger/src/lgFork.h>
#include <resmgt/logger/src/lgStandardStreams.h>
#include <resmgt/logger/src/lgStartText.h>
#include <resmgt/logger/src/logDirVariable.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/osal/osUtils.h>
#include <resmgt/profiling/hwCounter.h>

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

namespace Qv {

namespace {

EnvIntVar disableEventLog( __FILE__, "QV_LOG_DISABLE_EVENTLOG", 0 );
EnvVar defaultLevel( __FILE__, "QV_LOG_DEFAULT_LEVEL", nullptr );
EnvVar groups( __FILE__, "QV_LOG_GROUPS", nullptr );
EnvVar controlFile( __FILE__, "QV_LOG_CONTROL", nullptr );
EnvVar jsonFile( __FILE__, "QV_LOG_JSON", nullptr );
EnvIntVar blockingTrace( __FILE__, "QV_LOG_BLOCKING_TRACE", 0 );
EnvIntVar enableTimeStamps( __FILE__, "QV_LOG_ENABLE_TIMESTAMPS", 0 );
EnvIntVar enableTime( __FILE__, "QV_LOG_ENABLE_TIME", 1 );
EnvIntVar enableThreadIds( __FILE__, "QV_LOG_ENABLE_THREADIDS", 0 );
EnvIntVar enableThreadNames( __FILE__, "QV_LOG_ENABLE_THREADNAMES", 0 );
EnvIntVar disableLogLevels( __FILE__, "QV_LOG_DISABLE_LOGLEVELS", 0 );

// A file's name has 255 bytes at most; the date, the process and "_stdout.log" take up to 55.
constexpr std::size_t MAX_MODULE_NAME = 200;

template <class Variable>
auto readNow( Variable& variable ) {
    variable.refresh();
    return variable.getValue();
}

std::string readText( EnvVar& variable ) {
    const char* const text = readNow( variable );
    return text != nullptr ? text : "";
}

/// `usual` where the system can't say it just now: the log starts all the same.
template <class Question, class Answer>
Answer ask( Question question, const Answer& usual ) {
    try {
        return question();
    } catch( const ExBase& ) {
        return usual;
    }
}

bool isContinuation( char byte ) {
    return ( static_cast<unsigned char>( byte ) & 0xc0U ) == 0x80U;
}

/// Up to the first dot, without what a path would take for a separator.
std::string makeModuleBase() {
    std::string base = ask( OsUtils::getModuleName, std::string( "unknown" ) );
    base.erase( std::min( base.find( '.' ), base.size() ) );
    std::replace( base.begin(), base.end(), '\\', '_' );
    if( base.size() > MAX_MODULE_NAME ) {
        std::size_t end = MAX_MODULE_NAME;
        while( end > 0 && isContinuation( base[end] ) ) {
            --end;
        }
        base.erase( end );
    }
    return base;
}

std::string getCurrentDate() {
    const std::string date = OsDateUtil::toLocalText( OsDateUtil::now(), "%Y%m%d_%Hh%M_%Ss" );
    QV_ASSERT_TEXT( !date.empty(), "strftime( date, sizeof( date ), \"%Y%m%d_%Hh%M_%Ss\", &now )" );
    return date;
}

void trace( const std::string& message ) {
    std::ostringstream text;
    text << message;
    TraceManager::getInstance().getTrace().log( text, QV_HERE );
}

/// Empty where there is none, as for a program whose directory for temporary files can't be made.
OsFilePath getOutputDir( std::string& problem ) {
    try {
        return InPaths::getOutputDir();
    } catch( const ExBase& exception ) {
        problem = exception.getReason();
        return OsFilePath();
    }
}

OsFilePath makeLogPath() {
    const char* const chosen = getLogDirVariable().isValid() ? getLogDirVariable().getValue() : "";
    std::string problem;
    OsFilePath path( chosen );
    if( path.isEmpty() ) {
        path = LgFolder::makeDefault( getOutputDir( problem ), problem );
    } else if( !LgFolder::makeChosen( path, problem ) ) {
        path = OsFilePath();
    }
    if( path.isEmpty() ) {
        trace( "There are no log files of default names: " + problem );
    } else {
        LgFolder::clean( path );
    }
    return path;
}

/// A file of ours in place of a standard output that isn't there; null where there is no need for
/// it. Without it there is none, as before.
std::unique_ptr<LgFileBuffer> initializeStdout( const OsFilePath& path ) {
    if( isStandardOutputThere() ) {
        return nullptr;
    }
    try {
        // So that no link leads elsewhere.
        auto made =
            std::make_unique<LgFileBuffer>( path.toString(), LgFileBuffer::DEFAULT_NAME, nullptr );
        if( made->isOpen() ) {
            ExStdout::initialize( path.toUTF8() );
            return made;
        }
    } catch( const ExBase& exception ) {
        trace( std::string( "There is no standard output: " ) + exception.getReason() );
    }
    return nullptr;
}

/// Before this one. Written by the thread that starts and stops.
ExWrapper::LoggingFunction formerLoggingFunction = nullptr;

void logException( const char* message ) {
    writeStandardOutput( message );
    QV_LOG( Logger, FatalError, message );
}

} // namespace

LgLogStart::LgLogStart()
    : _formerThreshold( LgMajorGroup::getDefaultThreshold() )
    , _formerStart( LgLog::_start ) {
    for( std::size_t i = 0; i < _formerOptions.size(); ++i ) {
        _formerOptions[i] = LgLog::_options[i].load( std::memory_order_relaxed );
    }
}

LgLogStart::~LgLogStart() {
    if( !_isCommitted ) {
        LgMajorGroup::setDefaultThreshold( _formerThreshold );
        LgLog::_start = _formerStart;
        for( std::size_t i = 0; i < _formerOptions.size(); ++i ) {
            LgLog::_options[i].store( _formerOptions[i], std::memory_order_relaxed );
        }
        if( _areGroupsMade ) {
            LgMajorGroup::finalize();
        }
    }
}

void LgLogStart::prepare() {
    LgLog::_start = HwCounter::timeStamp();
    // First, as what can fail for what the user wrote.
    takeDefaultLevel();
    LgMajorGroup::initialize( readText( groups ).c_str() );
    _areGroupsMade = true;
    LgOutput::Settings settings = makeSettings();
    readOptions();
    if( LgLog::getRegistry() == nullptr ) {
        OPtr<LgRegistry> registry( new LgSimpleRegistry );
        static_cast<void>( LgLog::setRegistry( std::move( registry ) ) );
    }
    LgLog::_start = HwCounter::timeStamp();
    _output = std::make_unique<LgOutput>( std::move( settings ),
                                          LgStartText::makeHeader( LgLog::isTimeStampsEnabled() ) );
    LgFork::watch();
}

void LgLogStart::takeDefaultLevel() {
    const std::string text = readText( defaultLevel );
    for( int number = 0; number < LgTypes::NUM_LEVELS; ++number ) {
        const auto level = static_cast<LgTypes::Level>( number );
        if( text == LgTypes::getLevelName( level ) ) {
            LgMajorGroup::setDefaultThreshold( level );
        }
    }
}

void LgLogStart::readOptions() {
    LgLog::setBlockingTrace( readNow( blockingTrace ) != 0 );
    LgLog::setOption( LgLog::TIME, readNow( enableTime ) != 0 );
    if( readNow( enableTimeStamps ) != 0 ) {
        LgLog::enableTimeStamps();
    }
    if( readNow( enableThreadIds ) != 0 ) {
        LgLog::enableThreadIds();
    }
    if( readNow( enableThreadNames ) != 0 ) {
        LgLog::enableThreadNames();
    }
    if( readNow( disableLogLevels ) != 0 ) {
        LgLog::disableLogLevels();
    }
}

LgOutput::Settings LgLogStart::makeSettings() {
    LgOutput::Settings settings;
    settings.logPath = makeLogPath();
    if( !settings.logPath.isEmpty() ) {
        const std::string name =
            makeModuleBase() + "_" + getCurrentDate() + "_" + std::to_string( OsUtils::getPid() );
        settings.mainFile = ( settings.logPath + ( name + ".log" ) ).toWString();
        settings.traceFile = ( settings.logPath + ( name + "_trace.log" ) ).toWString();
        settings.standardOutput = initializeStdout( settings.logPath + ( name + "_stdout.log" ) );
    }
    settings.levels = LgLevelSettings::read(
        { .isEchoed = LgLog::_initDefaults == LgLog::ECHO_BY_DEFAULT,
          .isOSLogged = readNow( disableEventLog ) == 0,
          .isRedirected = ask( ExStdout::isRedirectedToAFile, false ),
          .mainFile = settings.mainFile,
          .traceFile = settings.traceFile,
          .isTraceInMainFile = LgLog::_initDefaults == LgLog::FILE_BY_DEFAULT } );
    settings.jsonPath = readText( jsonFile );
    settings.controlPath = OsFilePath( readText( controlFile ) ).getAbsolutePath().toString();
    return settings;
}

std::unique_ptr<LgOutput> LgLogStart::commit() noexcept {
    _isCommitted = true;
    formerLoggingFunction = ExWrapper::setLoggingFunction( logException );
    LgLog::_initialized.store( true, std::memory_order_release );
    return std::move( _output );
}

void LgLogStart::uninstall() noexcept {
    ExWrapper::setLoggingFunction( formerLoggingFunction );
}

} // namespace Qv
