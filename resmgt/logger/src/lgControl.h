#pragma once

#include <string>

namespace Qv {

/// The file QV_LOG_CONTROL, which sets the levels of groups while the program runs, in the grammar
/// of QV_LOG_GROUPS. White space at its end doesn't count.
///
/// It is read whole: a text with an error changes nothing, and is reported once. A file that isn't
/// there, isn't a regular one or can't be read changes nothing.
/// Threads: one at a time.
class LgControl {
public:
    /// The empty path for no file. A relative one is looked up in the present directory now and
    /// later.
    explicit LgControl( const std::string& path )
        : _path( path ) {}

    /// Takes the settings if the text is another than last time. Returns what there is to report,
    /// usually nothing.
    std::string look();

private:
    bool read( std::string& text ) const;

    const std::string _path;
    std::string _text;
};

} // namespace Qv
