#include <tests/support/processCounts.h>

#include <filesystem>
#include <iterator>

namespace Qv {

namespace {

int countEntries( const char* directory ) {
    return static_cast<int>( std::distance( std::filesystem::directory_iterator( directory ),
                                            std::filesystem::directory_iterator() ) );
}

} // namespace

int countThreads() {
    return countEntries( "/proc/self/task" );
}

// One is the descriptor that reads the directory.
int countDescriptors() {
    return countEntries( "/proc/self/fd" ) - 1;
}

} // namespace Qv
