#pragma once

#include <base/containers/hashMap.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <string>

namespace Qv {

/// Files of names and values: init files and message files. docs/settings.md describes their
/// grammar.
///
/// Files:   regular ones of up to MAX_SIZE bytes; the null device is an empty one. Others, such as
///          pipes, are an ExCannotOpen.
/// Lines:   of up to MAX_LINE bytes without their end, which is a line feed or the end of the file;
///          a carriage return before it counts as white space.
/// Text:    bytes, UTF-8 by agreement; its byte order mark at the start of the file is passed over
///          and takes no room of the line.
/// Escapes: stay in the values as they are; the user of a value decodes them.
/// Errors:  those of InTextFileEx.
/// Threads: any; nothing keeps two processes from writing one file at once.
class QV_RESMGT_API InTextFile {
public:
    /// In bytes; lines that continue each other may be one less together.
    static constexpr int MAX_LINE = 511;
    /// In bytes. No settings are as large; a name that leads to a picture mustn't fill the memory.
    static constexpr std::size_t MAX_SIZE = 0x4000000;

    InTextFile() = delete;

    /// Puts the file's pairs into `map`, where they replace values of the same names; of several
    /// lines with one name the last holds. `stripComments` ends each value before its first "#"
    /// that has no backslash before it and isn't its first character.
    ///
    /// Errors: `map` stays as it was.
    /// Cost:   most of it is the map's: two or three allocations a pair, and its memory.
    static void readNameValuePair( const char* file, HashMap<std::string, std::string>& map,
                                   bool stripComments );

    /// Gives the names of `map` these values in the file, which is made if need be. Comments, blank
    /// lines, other pairs and the order stay. Each line of a name gets its value; the comment
    /// behind it stays. New names follow at the end, by alphabet.
    ///
    /// The new file is complete and synced before it takes the former one's place, at once, with
    /// its owner and mode: see OsFileReplacement. Meanwhile the former file has a second name, with
    /// the extension "tt~"; a file with that name is replaced, but stays when there is no file to
    /// be written anew. Where `file` is a link all this happens where it leads.
    ///
    /// Errors: a name or value that couldn't be read back and a present file that can't be read are
    ///         refused before anything is changed. A value can be read back when it is free of line
    ///         feeds, zero characters, white space at its ends and a backslash at its end, has no
    ///         "#" that would begin a comment, and fits its line. After a later failure the file is
    ///         there as it was or as it was to be, and the exception says which.
    static void writeNameValuePair( const char* file,
                                    const HashMap<std::string, std::string>& map );
};

} // namespace Qv
