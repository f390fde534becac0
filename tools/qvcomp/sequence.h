#pragma once

#include <tools/qvcomp/options.h>
#include <tools/qvcomp/report.h>

#include <functional>
#include <ostream>
#include <set>
#include <span>

namespace Qv::Comp {

/// Makes the pictures of a sequence, or the single one, and hands on the report of each.
///
/// A frame of which a layer is missing, half written or otherwise no image isn't made, nor is one
/// whose picture somebody else has locked; the others are. All other errors end the sequence. What
/// was made until then stays.
class Sequence {
public:
    using OnReport = std::function<void( const Report& )>;

    /// `terminal` is null when nobody looks at the progress; else it must outlive this object.
    Sequence( const Options& options, std::ostream* terminal, OnReport onReport );

    /// All that the frames are made of, each file once.
    std::vector<OsFilePath> listLayers() const;
    /// Makes the frames that use one of the files, or all when there are none. Frames whose layers
    /// are missing are named before any is made.
    ///
    /// Errors: UsageFailure before anything is made when a picture of any frame would take the
    /// place
    ///         of a layer of any frame, a job or the log. Failure at the end that names the frames
    ///         that weren't made, and those of PictureMaker.
    void make( std::span<const OsFilePath> changed );

private:
    std::vector<int> listFrames( std::span<const OsFilePath> changed ) const;
    std::set<int> nameMissingLayers( const std::vector<int>& frames ) const;
    void makeFrames( const std::vector<int>& frames );

    const Options _options;
    std::ostream* _terminal;
    const OnReport _onReport;
    bool _isJobWritten = false;
};

} // namespace Qv::Comp
