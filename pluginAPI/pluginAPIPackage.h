#pragma once

#include <pluginAPI/pluginAPIApi.h>

namespace Qv::QvInit {

/// The tag of the package of libQVpluginAPI.
struct QV_PLUGINAPI_API pluginAPI {};

} // namespace Qv::QvInit
