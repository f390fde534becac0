#pragma once

#include <tools/qvcomp/managedTiles.h>
#include <tools/qvcomp/options.h>
#include <tools/qvcomp/progress.h>
#include <tools/qvcomp/report.h>
#include <tools/qvcomp/scene.h>
#include <tools/qvcomp/workers.h>

#include <memory>
#include <optional>
#include <ostream>
#include <set>

namespace Qv::Comp {

/// Makes pictures, one at a time, by the same threads and through the same media cache, as long as
/// the pictures need no other settings of it.
class PictureMaker {
public:
    /// `terminal` is null when nobody looks at the progress; else it must outlive this object.
    ///
    /// Errors: Failure when the memory limit is too small for the tiles, and for what there isn't.
    PictureMaker( const Options& options, std::ostream* terminal );
    PictureMaker( const PictureMaker& ) = delete;
    PictureMaker& operator=( const PictureMaker& ) = delete;
    ~PictureMaker();

    /// Makes the picture of the options, which are those of the constructor but for their files.
    /// The outputs get their names when all has gone well. Layers that have other chromaticities
    /// than the first one are named, each once.
    Report make( const Options& options, const ProgressPart& part = {} );

private:
    Report makePicture( const Options& options, const ProgressPart& part );
    void nameOtherColours( const Scene& scene );
    ManagedTiles& takeStore( const ManagedTiles::Settings& settings );

    std::ostream* _terminal;
    const std::unique_ptr<Workers> _workers;
    ManagedTiles::Settings _settings{};
    std::optional<ManagedTiles> _store;
    /// The places of the layers that were named.
    std::set<std::size_t> _named;
};

} // namespace Qv::Comp
