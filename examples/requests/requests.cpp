// Two producers share a group of two workers. One has rows of a picture rendered and waits for
// them; the other has thumbnails prepared, and drops those that are still queued when the picture
// is complete.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threadExtensions/mtTask.h>

#include <atomic>
#include <cstdio>
#include <exception>
#include <queue>
#include <sstream>

namespace {

constexpr int NB_ROWS = 40;
constexpr int NB_THUMBNAILS = 200;
constexpr int NB_POINTS = 20000;

// Some arithmetic, and a count of those who have done it.
class Row : public Qv::MtTaskImp {
public:
    Row( int row, std::atomic<int>& nbDone )
        : _row( row )
        , _nbDone( nbDone ) {}

private:
    void perform() override {
        double sum = 0.0;
        for( int i = 1; i <= NB_POINTS; ++i ) {
            sum += 1.0 / ( i + _row );
        }
        _nbDone += sum > 0.0 ? 1 : 0;
    }

    const int _row;
    std::atomic<int>& _nbDone;
};

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    std::atomic<int> nbRows = 0;
    std::atomic<int> nbThumbnails = 0;

    Qv::MtGroup<std::queue<Qv::MtTask>> group( "painter", 2, { .maximumSize = 256 } );
    const Qv::MtRequestTag picture = group.registerProducer();
    const Qv::MtRequestTag thumbnails = group.registerProducer();

    const auto push = [&]( const Qv::MtRequestTag& tag, int row, std::atomic<int>& nbDone ) {
        return group.tryPush(
            Qv::MtTask( tag, Qv::RCShdPtr<Qv::MtTaskImp>( new Row( row, nbDone ) ) ) );
    };
    int nbPushed = 0;
    for( int i = 0; i < NB_THUMBNAILS; ++i ) {
        nbPushed += push( thumbnails, i, nbThumbnails ) ? 1 : 0;
    }
    for( int i = 0; i < NB_ROWS; ++i ) {
        if( !push( picture, i, nbRows ) ) {
            // The queue is full: this thread does the work itself.
            Qv::MtTask( picture, Qv::RCShdPtr<Qv::MtTaskImp>( new Row( i, nbRows ) ) ).execute();
        }
    }
    // The rows stand behind the thumbnails, so this thread takes those that no worker has begun.
    group.workAlong( picture );
    const int nbComplete = nbRows;

    const auto nbDropped = static_cast<int>( group.discard( thumbnails ) );
    // Those in work go on.
    group.waitRequestCountZero( thumbnails );
    group.endProducer( picture );
    group.endProducer( thumbnails );

    std::ostringstream text;
    text << group;
    std::printf( "%s\n%d of %d rows are complete; of %d thumbnails each is %s\n",
                 text.str().c_str(), nbComplete, NB_ROWS, nbPushed,
                 nbThumbnails + nbDropped == nbPushed ? "ready or dropped" : "lost" );
    return nbComplete == NB_ROWS && nbThumbnails + nbDropped == nbPushed ? 0 : 1;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "requests: %s\n", Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
