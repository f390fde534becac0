#pragma once

#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/src/lgControl.h>
#include <resmgt/logger/src/lgFile.h>
#include <resmgt/logger/src/lgLevelSettings.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// Where the lines of one start go: the files, and the other targets.
///
/// Threads: one at a time; what is const after `open` may be asked by any.
class LgOutput {
public:
    struct Settings {
        LgLevelSettings::Levels levels;
        /// Empty for none.
        OsFilePath logPath;
        std::wstring mainFile;
        std::wstring traceFile;
        std::string jsonPath;
        std::string controlPath;
        /// The file in place of a standard output that isn't there, open so that nobody removes it;
        /// null for none.
        std::unique_ptr<LgFileBuffer> standardOutput;
    };

    /// Opens the files; one that can't be opened is reported on standard error, and takes
    /// nothing.
    LgOutput( Settings settings, std::string header );
    LgOutput( const LgOutput& ) = delete;
    LgOutput& operator=( const LgOutput& ) = delete;

    const LgLog::LevelInfo& getInfo( LgTypes::Level level ) const;
    const OsFilePath& getLogPath() const noexcept { return _settings.logPath; }
    bool hasTarget( LgTypes::Level level ) const;

    /// Raises nothing but std::bad_alloc.
    void write( const LgLog::EntryInfo& info, const char* prefix, const char* message );
    /// Each second. Returns what is to be reported, usually nothing.
    std::string maintain();
    /// The last lines of the files.
    void stop();

private:
    LgFile* openFile( const std::wstring& name, bool isAppended );
    void openLevelFile( std::size_t level );
    bool isDefaultName( const std::wstring& name ) const;

    Settings _settings;
    const std::string _header;
    std::vector<std::unique_ptr<LgFile>> _files;
    std::unique_ptr<LgFile> _jsonFile;
    LgControl _control;
    std::string _line;
};

} // namespace Qv
