#pragma once

#include <resmgt/logger/lgLimit.h>
#include <resmgt/logger/lgStatement.h>

/// Logs a line at a level of LgTypes, for a group whose place is `LgGroups::MinorLevel` and its
/// name:
///
///     QV_LOG( Content, Warning, "tile ", index, " took ", seconds, " s" );
///
/// The arguments after the level are written to an LgStream, one after the other. They are
/// evaluated once, and only while the level is open. This happens before the statement has its
/// place in the log, so that what is called there may log lines of its own. An operator that writes
/// an argument may not: lines within the line are dropped and counted.
///
/// Threads: any, at any time from the first constructor to the last destructor.
/// Errors:  only what evaluating the arguments raises.
/// Cost:    two loads and a test for a closed level.
#define QV_LOG( group, level, ... )                                                                \
    ( QV_LOG_GROUP( group ).isLevelEnabled( ::Qv::LgTypes::level )                                 \
          ? static_cast<void>( ::Qv::LgStatement::write( QV_LOG_GROUP( group ),                    \
                                                         ::Qv::LgTypes::level, __VA_ARGS__ ) )     \
          : static_cast<void>( 0 ) )

/// The same for the first time that the place is reached with its level open, for each `n`-th time
/// from the first on, and for the first `n` times of each second. Those left out are counted, see
/// LgLimit.
#define QV_LOG_ONCE( group, level, ... ) QV_LOG_LIMITED( passOnce(), group, level, __VA_ARGS__ )
/// Logs each n-th time that it is reached, from the first on.
#define QV_LOG_EVERY( group, level, n, ... )                                                       \
    QV_LOG_LIMITED( passEvery( n ), group, level, __VA_ARGS__ )
/// Logs at most n times a second.
#define QV_LOG_PER_SECOND( group, level, n, ... )                                                  \
    QV_LOG_LIMITED( passPerSecond( n ), group, level, __VA_ARGS__ )

/// What those above are made of; `pass` asks the place's LgLimit.
#define QV_LOG_LIMITED( pass, group, level, ... )                                                  \
    do {                                                                                           \
        if( QV_LOG_GROUP( group ).isLevelEnabled( ::Qv::LgTypes::level ) ) {                       \
            static constinit ::Qv::LgLimit qvLogLimit;                                             \
            const ::Qv::LgLimit::Pass qvLogPass = qvLogLimit.pass;                                 \
            if( qvLogPass &&                                                                       \
                !::Qv::LgStatement::write( QV_LOG_GROUP( group ), ::Qv::LgTypes::level,            \
                                           __VA_ARGS__, qvLogPass ) ) {                            \
                qvLogLimit.postpone( qvLogPass );                                                  \
            }                                                                                      \
        }                                                                                          \
    } while( false )

/// The group whose short name is `group`.
#define QV_LOG_GROUP( group ) ::Qv::LgGroups::QV_XGLUE( MinorLevel, group )
