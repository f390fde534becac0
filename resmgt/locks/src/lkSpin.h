#pragma once

namespace Qv {

/// How often a waiter may look before it sleeps, for a wait that `nbSleeps` waits have preceded
/// which looked in vain. 0 on one processor, where nobody can act while we look.
int lkSpinLimit( unsigned int nbSleeps ) noexcept;

} // namespace Qv
