#pragma once

#include <base/qvBaseApi.h>

namespace Qv {

/// Informs the processor that the caller looks at a word in a loop: saves power, and spares the
/// pipeline the misprediction when the word changes.
#if defined( __x86_64__ ) || defined( __i386__ )
inline void lkPause() noexcept {
    __builtin_ia32_pause();
}
#elif defined( __aarch64__ )
inline void lkPause() noexcept {
    asm volatile( "yield" );
}
#else
inline void lkPause() noexcept {}
#endif

/// Whether looking in a loop can pay: with one processor nobody can act meanwhile.
QV_BASE_API bool lkCanSpin() noexcept;

} // namespace Qv
