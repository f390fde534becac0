#pragma once

#include <pluginAPI/pluginAPIApi.h>

#include <typeinfo>

namespace Qv::QvInit {

/// The tag of the package of libQVpluginAPI.
struct QV_PLUGINAPI_API pluginAPI {
    static const std::type_info* getType() noexcept;
};

} // namespace Qv::QvInit
