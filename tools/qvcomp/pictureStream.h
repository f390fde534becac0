#pragma once

#include <tools/qvcomp/streamPlan.h>
#include <tools/qvcomp/tilePass.h>

#include <memory>
#include <string>
#include <vector>

namespace Qv::Comp {

/// Takes a picture while it is made.
class PictureSink {
public:
    PictureSink() = default;
    PictureSink( const PictureSink& ) = delete;
    PictureSink& operator=( const PictureSink& ) = delete;
    virtual ~PictureSink() = default;

    /// What it does with the picture, for the report.
    virtual std::string getKind() const = 0;
    /// The work on the lines from `y0` up to, not including, `y1`, which are complete. They come
    /// from the top down, TAKEN_LINES or a multiple of them at a time, but for the last ones.
    virtual std::vector<Unit> take( TilePlane& picture, int y0, int y1 ) = 0;
};

/// Reads the layers, puts them into the frame, composites them and adds the glow, in a pass called
/// `name` and in the steps of `plan`, which is one of the scene. The plane is that of the picture,
/// which has its content if the plan keeps it.
///
/// Result: the same bit for bit whatever the plan, the store and the number of threads.
std::unique_ptr<TilePlane> streamScene( const Scene& scene, const StreamPlan& plan,
                                        TileStore& store, PassRunner& runner, PictureSink& sink,
                                        const std::string& name );

} // namespace Qv::Comp
