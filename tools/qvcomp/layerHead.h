#pragma once

#include <tools/qvcomp/layerStream.h>

#include <cstdint>

namespace Qv::Comp {

/// Goes through the heads of all parts of an OpenEXR file before OpenEXR does, which takes memory
/// for as many bytes as an attribute claims to have. Returns the bytes of memory that they and the
/// tables of the parts' chunks take as OpenEXR's objects, or more. The stream is at its beginning
/// before and after.
///
/// Errors: Failure when an attribute claims more bytes than the file has. What else is wrong is
///         left to OpenEXR.
std::uint64_t measureHead( LayerStream& stream );

} // namespace Qv::Comp
