#include <base/containers/iteratorEx.h>

#include <base/containers/iterator.h>
#include <base/failure/qvHere.h>

namespace Qv {

IteratorEx::ExOutOfRange::ExOutOfRange( const char* file, int line )
    : ExCloneable( file, line ) {
    setReason( "Iterator out of range." );
}

void IteratorUtil::throwExOutOfRange() {
    throw IteratorEx::ExOutOfRange( QV_HERE );
}

} // namespace Qv
