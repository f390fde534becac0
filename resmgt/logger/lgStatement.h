#pragma once

#include <resmgt/logger/lgGroups.h>
#include <resmgt/logger/lgStream.h>

#include <memory>

namespace Qv {

class LgQueue;

/// One log statement under way; what QV_LOG expands to. Call it for a level that isn't a constant:
///
///     if( LgGroups::MinorLevelMessages.isLevelEnabled( level ) ) {
///         LgStatement::write( LgGroups::MinorLevelMessages, level, text );
///     }
///
/// Ways:   while the logger is active a statement goes into the thread's queue. Before and after,
///         and where the thread can't have one, it is put together on the heap and written at once,
///         to its level's targets, or to standard output as long as there are none. A group that
///         isn't there writes to standard output. Profiling is dropped outside of queues.
/// Errors: none come out. What an operator raises leaves "#" at the place where the text ends, as
///         does a text that there is no memory for.
class QV_RESMGT_API LgStatement {
public:
    /// Writes the arguments one behind the other, whether the level is open or not. False where
    /// the statement is dropped, as by a full queue.
    template <class... Args>
    static bool write( const LgPackageGroup& group, LgTypes::Level level,
                       const Args&... args ) noexcept {
        LgStatement statement( group, level );
        if( statement._stream == nullptr ) {
            return false;
        }
        try {
            ( *statement._stream << ... << args );
        } catch( ... ) {
            *statement._stream << '#';
        }
        return true;
    }

    LgStatement( const LgStatement& ) = delete;
    LgStatement& operator=( const LgStatement& ) = delete;

private:
    LgStatement( const LgPackageGroup& group, LgTypes::Level level ) noexcept;
    ~LgStatement();

    bool enterQueue() noexcept;
    void beginDirectly() noexcept;
    void endDirectly() noexcept;
    void output( const char* text ) noexcept;
    void addEntry() noexcept;

    const LgPackageGroup& _group;
    const LgTypes::Level _level;
    // Null while the statement is to be dropped.
    LgStream* _stream = nullptr;
    LgQueue* _queue = nullptr;
    std::unique_ptr<LgStream> _ownStream;
};

} // namespace Qv
