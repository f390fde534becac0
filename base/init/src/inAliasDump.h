#pragma once

#include <base/init/inPackageInit.h>

#include <iosfwd>
#include <vector>

namespace Qv {

/// Writes the sources of all variables of these packages, source by source: what each is asked for,
/// what it holds, and whether that is the variable's value.
void dumpAliases( std::ostream& stream, const std::vector<InPackageInit*>& packages );

} // namespace Qv
