#include <resmgt/logger/src/lgOutput.h>

#include <base/text/printable.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/logger/src/lgEventLog.h>
#include <resmgt/logger/src/lgJson.h>
#include <resmgt/logger/src/lgStandardStreams.h>
#include <resmgt/logger/src/lgStartText.h>

#include <system_error>
#include <utility>

namespace Qv {

namespace {

std::string makeLossLine( std::uint64_t nbLines, int error ) {
    return "Lines lost [" + std::to_string( nbLines ) +
           "]: " + std::generic_category().message( error ) + "\n";
}

void reportIfClosed( const std::string& name, const LgFile& file ) {
    if( !file.getBuffer().isOpen() ) {
        writeStandardError( "The log file '" + Printable::makeLine( name ) + "' can't be opened: " +
                            std::generic_category().message( file.getBuffer().getOpenError() ) +
                            ".\n" );
    }
}

} // namespace

LgOutput::LgOutput( Settings settings, std::string header )
    : _settings( std::move( settings ) )
    , _header( std::move( header ) )
    , _control( _settings.controlPath ) {
    for( std::size_t level = 0; level < _settings.levels.size(); ++level ) {
        openLevelFile( level );
    }
    if( !_settings.jsonPath.empty() ) {
        _jsonFile = std::make_unique<LgFile>( _settings.jsonPath, LgFileBuffer::CHOSEN_NAME,
                                              LgJson::makeLoss );
        reportIfClosed( _settings.jsonPath, *_jsonFile );
    }
}

void LgOutput::openLevelFile( std::size_t level ) {
    LgLog::LevelInfo& info = _settings.levels[level];
    if( info.file.empty() ) {
        return;
    }
    for( std::size_t earlier = 0; earlier < level; ++earlier ) {
        if( _settings.levels[earlier].file == info.file ) {
            info.output = _settings.levels[earlier].output;
            info.openError = _settings.levels[earlier].openError;
            return;
        }
    }
    LgFile* const file = openFile( info.file, info.appended );
    info.output = file;
    info.openError = file->getBuffer().getOpenError();
}

/// A file that is open under another name is shared.
LgFile* LgOutput::openFile( const std::wstring& name, bool isAppended ) {
    const auto naming =
        isDefaultName( name ) ? LgFileBuffer::DEFAULT_NAME : LgFileBuffer::CHOSEN_NAME;
    const std::string path = WideStringUtil::narrowMB( name );
    auto file = std::make_unique<LgFile>( path, naming, makeLossLine );
    for( const auto& other : _files ) {
        if( file->getBuffer().isSameFile( other->getBuffer() ) ) {
            return other.get();
        }
    }
    reportIfClosed( path, *file );
    if( !isAppended && naming == LgFileBuffer::CHOSEN_NAME ) {
        file->getBuffer().truncate();
    }
    file->getBuffer().setHeader( _header );
    *file << _header << std::flush;
    _files.push_back( std::move( file ) );
    return _files.back().get();
}

bool LgOutput::isDefaultName( const std::wstring& name ) const {
    return name == _settings.mainFile || name == _settings.traceFile;
}

const LgLog::LevelInfo& LgOutput::getInfo( LgTypes::Level level ) const {
    return _settings.levels.at( static_cast<std::size_t>( level ) );
}

bool LgOutput::hasTarget( LgTypes::Level level ) const {
    const LgLog::LevelInfo& info = getInfo( level );
    return info.output != nullptr || info.echoed || info.osLogged;
}

void LgOutput::write( const LgLog::EntryInfo& info, const char* prefix, const char* message ) {
    const LgLog::LevelInfo& level = getInfo( info.level );
    _line.assign( prefix ).append( message );
    // All are of this kind; one that couldn't be opened takes nothing, as a stream does.
    if( auto* const file = static_cast<LgFile*>( level.output ); file != nullptr && file->good() ) {
        file->getBuffer().writeLine( _line );
    }
    if( _jsonFile && level.enabled ) {
        // The line of an overflow has all its text in the prefix.
        const std::string lost = "Event overflow [" + std::to_string( info.lostStatements ) + "]";
        *_jsonFile << LgJson::makeLine( info, info.lostStatements > 0 ? lost : message )
                   << std::flush;
    }
    if( level.echoed ) {
        writeStandardOutput( _line.c_str() );
    }
    if( level.osLogged && *message != '\0' ) {
        LgEventLog::report( info.level, message );
    }
}

std::string LgOutput::maintain() {
    for( const auto& file : _files ) {
        file->getBuffer().maintain();
    }
    if( _jsonFile ) {
        _jsonFile->getBuffer().maintain();
    }
    return _control.look();
}

/// What is lost is counted now or never.
void LgOutput::stop() {
    for( const auto& file : _files ) {
        file->getBuffer().retryAtOnce();
        *file << "\n"
              << std::flush << LgStartText::makeDated( "Logger stopped on " ) << "\n"
              << std::flush;
    }
    if( _jsonFile ) {
        _jsonFile->getBuffer().retryAtOnce();
        _jsonFile->getBuffer().maintain();
    }
}

} // namespace Qv
