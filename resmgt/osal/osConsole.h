#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// A text window of the process, if `QV_CONSOLE` is a number other than 0.
///
/// Posix:   a program has a terminal already; nothing is opened, only reported.
/// Threads: none of its own; `open` and `close` belong to the start and the end of the program.
class QV_RESMGT_API OsConsole {
public:
    OsConsole() = delete;

    /// Prints on standard output what this window is, if one is asked for.
    static void open();
    /// After an `open` that was asked for: prompts for a key and waits until one is pressed.
    /// Doesn't wait where standard input is no terminal, or one that another job uses.
    static void close();

private:
    static void performOpen();
    static void performWaitForKey();
};

} // namespace Qv
