#pragma once

#include <resmgt/xml/xmlEx.h>

#include <span>
#include <string>
#include <vector>

namespace Qv::Comp {

/// An option or a layer that a job asks for; docs/qvcomp.md has the form.
struct JobEntry {
    /// As on the command line, such as "--size" and "-o"; empty for a layer, before which its own
    /// options come.
    std::string option;
    /// As on the command line; of a flag "True" or "False".
    std::string value;
    /// Where the job has it; unknown of what was typed.
    XmlPosition place = {};
    /// It is the next layer's option, or the layer itself.
    bool isOfLayer = false;
};

/// The entries in their order. Which options there are is the reader's affair.
///
/// Errors: Failure that names the file and, for what stands in it, line and column.
/// REQUIRES: nothing; packages needn't be started.
std::vector<JobEntry> readJob( const std::string& file );

/// The failure of an entry of the file, for `problem`.
[[noreturn]] void refuseJob( const std::string& file, const XmlPosition& place,
                             const std::string& problem );

/// The document from which `readJob` reads the entries, in UTF-8. Of an option that comes several
/// times the last value counts.
///
/// Errors: Failure for a value that no document can hold.
std::string makeJob( std::span<const JobEntry> entries );

} // namespace Qv::Comp
