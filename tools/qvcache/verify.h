#pragma once

#include <tools/qvcache/survey.h>

#include <functional>
#include <string>
#include <vector>

namespace Qv::Cache {

/// What is wrong with an entry of a cache, as a sentence's end: "can't be read: ...".
struct Fault {
    std::string path;
    std::string text;
};

/// Looks at the names of all entries, and reads all blocks to their ends. What goes meanwhile is no
/// fault.
///
/// Names:   of a block in a level's directory must lead there, with some number of bits a level; no
///          two files may be one block; what is no block mustn't look like one to those who read
///          numbers without minding their zeros.
/// Reading: calls `progress` with the bytes that were read so far.
std::vector<Fault> verify( const OsFilePath& directory, const Survey& survey,
                           const std::function<void( std::uint64_t nbBytes )>& progress );

} // namespace Qv::Cache
