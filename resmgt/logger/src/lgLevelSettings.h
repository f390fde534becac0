#pragma once

#include <resmgt/logger/lgLog.h>

#include <array>
#include <string>

/// The variables that say where each level goes.
namespace Qv::LgLevelSettings {

using Levels = std::array<LgLog::LevelInfo, LgTypes::NUM_LEVELS>;

/// What the defaults go by.
struct Surroundings {
    bool isEchoed;
    bool isOSLogged;
    /// Of standard output, to a file.
    bool isRedirected;
    /// Empty for none.
    std::wstring mainFile;
    std::wstring traceFile;
    /// Tracing goes to the main file, unless its variable says otherwise.
    bool isTraceInMainFile = false;
};

/// Reads a level's variable, which may be null: up to three flags ("%" echo, "+" append, "*" event
/// log), then the file's name; "--" turns the level off. An empty value gives `defaults`.
LgLog::LevelInfo parseEnvVar( const char* value, const LgLog::LevelInfo& defaults );

/// Reads the variables of all levels from the environment as it is now.
Levels read( const Surroundings& surroundings );

} // namespace Qv::LgLevelSettings
