#pragma once

#include <resmgt/logger/lgTypes.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Qv {

/// The lines that processes had still in their queues when they ended without their reader, where
/// QV_LOG_TAIL was set.
///
/// A process that makes its first queue so removes what others have left, but for the ten that were
/// started last.
/// Threads: any.
/// Trust:   the files of this user alone are read, and whatever they hold is checked.
class QV_RESMGT_API LgTail {
public:
    /// One line, or a run of lost statements.
    struct Line {
        /// In seconds since the epoch.
        double time = 0;
        /// The order of the lines of one process.
        std::uint64_t timeStamp = 0;
        /// The level of the line.
        LgTypes::Level level = LgTypes::Informational;
        /// The thread that wrote the line.
        std::string threadName;
        /// The number of that thread.
        std::uint64_t threadId = 0;
        /// Any bytes.
        std::string text;
        /// Where it isn't 0 the line stands for so many that were lost.
        std::uint64_t nbLost = 0;
    };
    /// The queues of one process.
    struct Process {
        /// The number of the process.
        std::uint64_t number = 0;
        /// It reads its queues itself.
        bool isAlive = false;
        /// By time stamp.
        std::vector<Line> lines;
        /// What `remove` removes.
        std::vector<std::string> files;
    };

    LgTail() = delete;

    /// By number and start, without the calling process.
    static std::vector<Process> read();
    /// Removes what a process left; false if something of it stays.
    static bool remove( const Process& process );

private:
    class Queue;
};

} // namespace Qv
