#pragma once

namespace Qv {

/// What a forked child has of its parent's logger is of no use: there is no reader, and a lock may
/// be held for ever.
class LgFork {
public:
    LgFork() = delete;

    /// From now on forks of this process are noticed; further calls have no effect.
    static void watch() noexcept;
    /// Whether this process is a fork of one that called `watch`.
    static bool isChild() noexcept;
};

} // namespace Qv
