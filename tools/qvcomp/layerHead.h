#pragma once

#include <tools/qvcomp/layerStream.h>

#include <cstdint>

namespace Qv::Comp {

/// What the heads of a file's parts say of themselves.
struct HeadFacts {
    /// Of memory that they and the tables of the parts' chunks take as OpenEXR's objects, or more.
    std::uint64_t bytes;
    /// Where the table of the first part's chunks begins.
    std::uint64_t tablePosition;
    bool isMultiPart;
};

/// Goes through the heads of all parts of an OpenEXR file before OpenEXR does, which takes memory
/// for as many bytes as an attribute claims to have. The stream is at its beginning before and
/// after.
///
/// Errors: Failure when an attribute claims more bytes than the file has. What else is wrong is
///         left to OpenEXR.
HeadFacts measureHead( LayerStream& stream );

} // namespace Qv::Comp
