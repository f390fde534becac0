#pragma once

#include <mediaTiles/mediaTilesApi.h>

#include <typeinfo>

namespace Qv::QvInit {

/// The tag of the package of libQVmediaTiles.
struct QV_MEDIATILES_API mediaTiles {
    static const std::type_info* getType() noexcept;
};

} // namespace Qv::QvInit
