#pragma once

#include <resmgt/osal/osFilePath.h>

#include <functional>
#include <vector>

namespace Qv::Comp {

/// Gets the layers that have changed; none when all is to be made.
using RenderLayers = std::function<void( const std::vector<OsFilePath>& )>;

/// Calls `render`, and again each time that a layer has another state and nobody writes it any
/// more, until SIGINT, SIGTERM or SIGHUP comes. A layer that can't be read is reported, and waited
/// for.
///
/// `seconds` lie between two looks at the layers; a layer counts as written when two of them find
/// the same.
///
/// REQUIRES: an InterruptNote lives. Called once a process at most: the monitor keeps its interval.
/// Errors: what `render` raises, but for what is wrong with a layer.
void watchLayers( const std::vector<OsFilePath>& layers, double seconds,
                  const RenderLayers& render );

} // namespace Qv::Comp
