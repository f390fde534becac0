#pragma once

#include <tools/qvcomp/pendingFile.h>
#include <tools/qvcomp/pictureHead.h>

#include <memory>

namespace Qv::Comp {

/// Writes an OpenEXR image of half-float tiles, channels R, G, B, A, tiles row by row.
///
/// Errors: Failure when the file can't be written.
class ExrWriter {
public:
    ExrWriter( PendingFile& file, int width, int height, const PictureHead& head, int tileSide );
    ExrWriter( const ExrWriter& ) = delete;
    ExrWriter& operator=( const ExrWriter& ) = delete;
    ~ExrWriter();

    /// Writes the tile of this column and row. `pixels` has four floats a pixel and lines of
    /// `tileSide` pixels; values beyond the range of a half float become its ends.
    void writeTile( int column, int row, const float* pixels );
    /// Completes the file. Without it the file is unusable.
    void finish();

private:
    struct Imp;

    std::unique_ptr<Imp> _imp;
};

} // namespace Qv::Comp
