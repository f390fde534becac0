#include <base/text/langUtil.h>

namespace Qv {

const std::locale& LangUtil::getLocale() {
    return std::locale::classic();
}

} // namespace Qv
