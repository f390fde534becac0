#pragma once

#include <tools/qvcomp/fileId.h>
#include <tools/qvcomp/layerOptions.h>
#include <tools/qvcomp/pictureHead.h>
#include <tools/qvcomp/tileStore.h>

#include <resmgt/osal/osFilePath.h>

#include <cstdint>
#include <functional>

namespace Qv::Comp {

/// A display window, in pixels from the data window's upper left corner.
struct DisplayWindow {
    bool operator==( const DisplayWindow& ) const = default;

    std::int64_t x;
    std::int64_t y;
    std::int64_t width;
    std::int64_t height;
};

/// What the head of a layer's file tells.
struct LayerInfo {
    OsFilePath path;
    /// Of the data window: the pixels that there are.
    int width;
    int height;
    bool hasAlpha;
    DisplayWindow display;
    /// Width over height of a pixel.
    double pixelAspect;
    FileId file;
    /// Bytes of memory that reading it takes at most by one decoder, beside the plane's tiles.
    std::uint64_t readingMemory;
    /// Of the parts in which it is read: whole chunks of the file.
    TileSize part = {};
    LayerHead head = {};
    /// What the file doesn't say.
    LayerOptions options = {};
};

/// Gets the bytes of memory that a file's head takes before they are taken, and may raise.
using CheckHead = std::function<void( std::uint64_t )>;

/// Looks at the file's head and its table of chunks: an OpenEXR image of scan lines or tiles, with
/// the channels R, G, B or Y, not subsampled, up to MAX_SIDE pixels a side. Y counts only when no
/// other channel says that it is part of a colour.
///
/// Memory: what the file says of its sizes is held against its length before memory is taken for
///         it.
/// Errors: Failure that names the file and what is wrong with it.
LayerInfo probeLayer( const OsFilePath& path, const CheckHead& checkHead );

} // namespace Qv::Comp
