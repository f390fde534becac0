#pragma once

#include <tools/qvcomp/pictureStream.h>

namespace Qv::Comp {

/// Holds the tile against `expected`, one of the same area, bit for bit.
///
/// Errors: Failure that names the first line that differs.
void checkIdentical( const TileReader& tile, const TileReader& expected );

/// Holds a picture that is made against one that was kept, a plane of tiles of the same size.
class PictureComparison final : public PictureSink {
public:
    /// `kept` must outlive this.
    explicit PictureComparison( TilePlane& kept )
        : _kept( kept ) {}

    std::string getKind() const override { return "Comparing"; }
    std::vector<Unit> take( TilePlane& picture, int y0, int y1 ) override;

private:
    TilePlane& _kept;
};

} // namespace Qv::Comp
