#pragma once

#include <resmgt/messages/msgTypes.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// Decides what happens to a message to the user. This one logs it and shows it in a box; an
/// application that shows messages in its own way derives from it, and installs that by
/// MsgServer::setManager.
///
/// Boxes:   only where somebody may see them: neither when standard output goes to a file nor in
///          the application mode BATCH nor with QV_NO_MESSAGE_BOX set. QV_NO_MESSAGE_BEEP, set,
///          takes the beep before the box away. Set to the empty text is set.
/// Posix:   a box is the title and the text on standard error, where that is a terminal, else
///          nothing; it waits for nobody. A beep is the terminal's. Control characters other than
///          line feed and tab, and what isn't UTF-8, show as "?", also where the log is echoed: a
///          file's name must not command the terminal.
/// Threads: any, at the same time; a box blocks only the thread that shows it.
/// Errors:  a text that can't be shown is reported through Trace.
class QV_RESMGT_API MsgManager {
public:
    MsgManager();
    MsgManager( const MsgManager& ) = delete;
    MsgManager& operator=( const MsgManager& ) = delete;
    virtual ~MsgManager();

    /// Logs the text, by `log`, then shows it. A `level` that is none ends the process with the
    /// status 1, behind the line "Unknown message type." in the log at Internal Error.
    virtual void display( const char* text, MsgTypes::Level level );
    /// For managers that can stop showing messages for a while; does nothing here.
    virtual void enablePopups( bool isEnabled );

protected:
    /// Logs the text for the group Messages, at the log level of the same number. A `level` that is
    /// none ends the process as above.
    virtual void log( const char* text, MsgTypes::Level level );

private:
    static void performBeep( MsgTypes::Level level );
    static void performShowBox( const char* title, const char* text, MsgTypes::Level level );
};

} // namespace Qv
