#include <resmgt/threads/src/mtProcess.h>

#include <unistd.h>

namespace Qv {

long MtProcess::getNumber() noexcept {
    return ::getpid();
}

void* MtProcess::getStackAddress() noexcept {
    return __builtin_frame_address( 0 );
}

} // namespace Qv
