#pragma once

namespace Qv {

/// Types that the classes of messages share.
class MsgTypes {
public:
    /// How grave a message is; the number is that of the log level of the same name.
    enum Level : int { FATAL_ERROR = 1, ERROR = 2, WARNING = 3, INFORMATION = 4 };
};

} // namespace Qv
