#include <resmgt/xml/src/xmlLargePages.h>

#include <sys/mman.h>

namespace Qv {

void XmlLargePages::ask( void* memory ) noexcept {
    // Advice: a refusal changes nothing but the time.
    static_cast<void>( ::madvise( memory, SIZE, MADV_HUGEPAGE ) );
}

} // namespace Qv
