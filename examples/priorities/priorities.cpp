// A new subsystem slides itself between two others, and no line of theirs changes:
//
//     priorities
//
// Decoding and display have stated no more than what they know: both are above the real-time
// threads, display is above decoding. Each has a thread. Then previews come along, which are to be
// above decoding and below display.

#include <base/init/inInitGuard.h>
#include <base/ownership/oPtr.h>
#include <base/text/printable.h>
#include <resmgt/threads/mtPriorityMgr.h>
#include <resmgt/threads/mtThread.h>
#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/rtPriorities.h>

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

using namespace Qv;

namespace {

// What a subsystem's thread does.
class Work : public MtThreadProtocol {
public:
    void performExecute( MtThread* thread ) override {
        std::printf( "%s runs at %d\n", thread->getName().c_str(),
                     thread->getPriority().getPriority() );
    }
};

// A node of the graph, with a thread that follows it.
class Subsystem {
public:
    explicit Subsystem( const char* name )
        : _node( name, MtPriorityMgr::getInstance() )
        , _thread( createThread( name ) )
        , _threadFollows( name, _node, PriorityRelation::EQUAL, _thread->getPriority() ) {}

    Priority& getPriority() { return _node; }
    void work() {
        _thread->start();
        _thread->join();
    }

private:
    static OPtrRet<MtThread> createThread( const char* name ) {
        OPtr<MtThreadProtocol> work( new Work );
        return MtThreadFactory::getInstance().createThread( std::string( name ) + " thread", work,
                                                            false, 0 );
    }

    Priority _node;
    const OPtr<MtThread> _thread;
    // Ends first: a node must outlive its relations.
    const PriorityRelation _threadFollows;
};

void printGraph( const char* title ) {
    std::cout << title << '\n';
    MtPriorityMgr::getInstance().dump( std::cout );
    std::cout << std::endl;
}

void place() {
    Priority& realTime = RtPriorities::getInstance().getRealTimePriority();
    Subsystem decoding( "decoding" );
    Subsystem display( "display" );
    const PriorityRelation aboveRealTime( "decoding above real time", realTime,
                                          PriorityRelation::LESS, decoding.getPriority() );
    const PriorityRelation displayFirst( "display first", decoding.getPriority(),
                                         PriorityRelation::LESS, display.getPriority() );
    printGraph( "Without previews:" );
    display.work();

    Subsystem previews( "previews" );
    const PriorityRelation aboveDecoding( "previews above decoding", decoding.getPriority(),
                                          PriorityRelation::LESS, previews.getPriority() );
    const PriorityRelation belowDisplay( "previews below display", previews.getPriority(),
                                         PriorityRelation::LESS, display.getPriority() );
    printGraph( "With previews:" );
    previews.work();
    display.work();

    try {
        const PriorityRelation circle( "circle", display.getPriority(), PriorityRelation::LESS,
                                       decoding.getPriority() );
    } catch( const ExBase& refusal ) {
        std::printf( "below decoding, display is refused: %s\n",
                     Printable::makeText( refusal.getReason() ).c_str() );
    }
}

} // namespace

int main( int argc, char** argv ) {
    try {
        const InInitGuard packages( argc, argv );
        place();
        return 0;
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "priorities: %s\n", Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
