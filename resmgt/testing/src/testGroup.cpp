#include <resmgt/testing/testGroup.h>

#include <base/failure/assertions.h>

#include <utility>

namespace Qv {

TestGroup::TestGroup( std::string name )
    : _name( std::move( name ) ) {}

TestGroup::~TestGroup() = default;

void TestGroup::add( std::string name, std::function<void()> body ) {
    QV_ASSERT( body );
    _tests.push_back( { std::move( name ), std::move( body ) } );
}

} // namespace Qv
