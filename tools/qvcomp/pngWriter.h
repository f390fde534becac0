#pragma once

#include <tools/qvcomp/pendingFile.h>

#include <memory>

namespace Qv::Comp {

/// Writes a PNG picture of 8-bit sRGB colours without alpha, line by line.
///
/// Errors: Failure when the file can't be written, also from each operation after that.
class PngWriter {
public:
    PngWriter( PendingFile& file, int width, int height );
    PngWriter( const PngWriter& ) = delete;
    PngWriter& operator=( const PngWriter& ) = delete;
    ~PngWriter();

    /// The next `lines` lines, 3 bytes a pixel.
    void writeLines( const unsigned char* bytes, int lines );
    /// Completes the file after the last line.
    void finish();

private:
    struct Imp;

    std::unique_ptr<Imp> _imp;
};

} // namespace Qv::Comp
