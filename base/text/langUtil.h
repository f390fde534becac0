#pragma once

#include <base/qvBaseApi.h>

#include <locale>

namespace Qv::LangUtil {

/// The locale for formatting and reading numbers and text: the classic one, whatever the user's
/// settings are, so that files mean the same everywhere. From any thread, also before `main`.
QV_BASE_API const std::locale& getLocale();

} // namespace Qv::LangUtil
