/* A file lock's holder and two or three who want to take it over, each stopped anywhere for any
 * time. What osFileLockImp.h says of holding, lateness and moves; files age on the server's clock,
 * holders reckon on their own, and all run at one speed.
 *
 * No two hold the lock at once, nobody removes the file of one who holds it, nor keeps another's
 * alive. With the steps of a move apart, as they are, there is one exception: a third party makes
 * its file in the moment of a move that takes a living file aside, which only a process can do that
 * was stopped between its look and its move, or that competes with others for a dead file. With a
 * move as one step there is none.
 *
 * A life of one tick lets files die between any two steps. That a holder's file may be half its
 * life old when a writing begins takes two ticks; two takers show what comes of that.
 *
 * passes: -DMOVE_AT_ONCE -DTAKERS=3
 * passes: -DTWO_TICKS
 * fails: -DLATE_AT_START
 * fails: -DNO_CLOCK
 * fails: -DNO_CONFIRMATION
 * fails: -DNO_SETTLING
 * fails: -DNO_SECOND_LOOK
 * fails: -DNOT_EXCLUSIVE
 * fails: -DOVER_OTHERS
 * fails: -DREFRESH_BY_PATH
 * fails: -DREMOVE_BY_PATH
 */

#ifdef LATE_AT_START
#define TWO_TICKS
#endif

#define HOLDER 0
#ifndef TAKERS
#define TAKERS 2
#endif
#define PROCESSES ( TAKERS + 1 )

/* In ticks, by which all clocks move at once. */
#ifdef TWO_TICKS
#define LIFE 2
#else
#define LIFE 1
#endif
#define HELD LIFE

/* A file for each process, and the one that the holder makes anew; 0 is none. */
#define FILES ( PROCESSES + 2 )
#define fileOf( process ) ( ( process ) + 1 )
#define ANEW ( FILES - 1 )
#define makerOf( file ) ( ( file ) == ANEW -> HOLDER : ( file ) - 1 )

/* What the path leads to, and what is left of each file's life. */
byte path = fileOf( HOLDER );
byte life[FILES];
#define isAlive( file ) ( life[file] > 0 )

/* What is left of each holder's own time, and what would be if it held from its last writing. */
byte held[PROCESSES], next[PROCESSES];

/* The holder's file. */
byte holders = fileOf( HOLDER );
#define isHeld( file ) \
    ( held[makerOf( file )] > 0 && ( makerOf( file ) != HOLDER || ( file ) == holders ) )

/* From the look at a file that may be found dead, or one's own, to the end of the move; stopped
 * there for long; what lies aside. */
bool isMoving[PROCESSES], isStopped[PROCESSES];
byte aside[PROCESSES];
bool isAccepted;
byte nbBegun;

inline hold( process, left ) {
    atomic {
        held[process] = left;
        next[process] = 0;
        for( i : 0 .. PROCESSES - 1 ) {
            assert( i == process || held[process] == 0 || held[i] == 0 || isAccepted )
        }
        i = 0
    }
}

/* A process that is stopped with a holder's file aside, and a third party, can make two holders. */
#ifdef MOVE_AT_ONCE
#define accept( process, isThird ) skip
#else
#define accept( process, isThird ) \
    isAccepted = isAccepted || ( isThird ) || \
                 ( isStopped[process] && aside[process] != 0 && isAlive( aside[process] ) )
#endif

inline acceptAll( isThird ) {
    for( i : 0 .. PROCESSES - 1 ) {
        accept( i, isThird && isMoving[i] )
    }
    i = 0
}

/* Exclusive. Who has found nothing there holds at once: a third party, if others are moving. */
inline make( process, file, isFresh, isMade ) {
    atomic {
#ifdef NOT_EXCLUSIVE
        isMade = true;
#else
        isMade = ( path == 0 );
#endif
        if
        :: isMade ->
            path = file; life[file] = LIFE;
            acceptAll( isFresh )
        :: else
        fi
    }
}

/* Waits for longer than any move lasts that has begun, unless its process is stopped. */
#define await( other, process ) \
    atomic { \
        if \
        :: other == process || !isMoving[other] \
        :: other != process && isMoving[other] -> isStopped[other] = true \
        fi; \
        accept( other, false ) \
    }
inline settle( process ) {
    skip;
#ifndef NO_SETTLING
    await( 0, process );
    await( 1, process )
#if TAKERS > 1
    ; await( 2, process )
#endif
#if TAKERS > 2
    ; await( 3, process )
#endif
#endif
}

/* What no step reads any more is set to one value, so that states that differ in nothing else are
 * one. */
inline endMove( process ) {
    atomic { aside[process] = 0; isMoving[process] = false; isStopped[process] = false }
}

/* Moves what is at the path aside, and removes it if `mayGo` still holds of it. */
#define remove( file ) \
    assert( file == own || path != 0 || !isHeld( file ) ); life[file] = 0
inline move( process, mayGo ) {
#ifdef MOVE_AT_ONCE
    atomic {
        aside[process] = path;
        if
        :: path != 0 && mayGo -> path = 0; remove( aside[process] )
        :: else
        fi;
        endMove( process )
    }
#else
    atomic { aside[process] = path; path = 0 }
    if
    :: aside[process] == 0 -> endMove( process )
#ifdef NO_SECOND_LOOK
    :: aside[process] != 0 -> atomic { remove( aside[process] ); endMove( process ) }
#else
    :: aside[process] != 0 && mayGo -> atomic { remove( aside[process] ); endMove( process ) }
    :: aside[process] != 0 && !( mayGo ) ->
        atomic {
            if
#ifdef OVER_OTHERS
            :: true -> path = aside[process]
#else
            :: path == 0 -> path = aside[process]; aside[process] = 0; acceptAll( false )
            :: path != 0 -> remove( aside[process] )
#endif
            fi;
            endMove( process )
        }
#endif
    fi
#endif
}

/* Within life, or not at all. */
#ifdef NO_CLOCK
#define isLate( process ) false
#else
#define isLate( process ) ( held[process] == 0 )
#endif

inline release( process ) {
    held[process] = 0;
#ifdef REMOVE_BY_PATH
    if
    :: path == own ->
        atomic { assert( path == 0 || path == own || !isHeld( path ) ); path = 0 }
    :: path != own
    fi
#else
    if
    :: atomic { path == own -> isMoving[process] = true } move( process, aside[process] == own )
    :: path != own
    fi
#endif
}

proctype Holder() {
    byte own = fileOf( HOLDER ), i;
    bool isLateNow, isOwn, isMade;
    do
    :: atomic { next[HOLDER] = HELD; isLateNow = isLate( HOLDER ) }
        isOwn = ( path == own );
        if
#ifdef REFRESH_BY_PATH
        :: path == 0 -> break
        :: atomic { path != 0 -> assert( path == own ); life[own] = LIFE }
#else
        :: isOwn -> life[own] = LIFE;
#ifndef LATE_AT_START
            isLateNow = isLate( HOLDER )
#endif
        :: !isOwn ->
            /* The code ends its holding first, and keeps in mind until when that was to be. */
            if
            :: own == ANEW -> held[HOLDER] = 0; break
            :: else -> make( HOLDER, ANEW, false, isMade )
            fi;
#ifndef LATE_AT_START
            isLateNow = isLate( HOLDER );
#endif
            held[HOLDER] = 0;
            if
            :: isMade -> atomic { own = ANEW; holders = ANEW }
            :: else -> break
            fi
#endif
        fi;
#ifndef NO_CONFIRMATION
        if
        :: isLateNow ->
            settle( HOLDER );
            if
            :: path == own -> hold( HOLDER, next[HOLDER] )
            :: path != own -> next[HOLDER] = 0
            fi
        :: else -> hold( HOLDER, next[HOLDER] )
        fi;
        atomic { isLateNow = false; isOwn = false; isMade = false }
#else
        hold( HOLDER, next[HOLDER] )
#endif
    :: release( HOLDER ); break
    od
}

proctype Taker( byte me ) {
    byte own = fileOf( me ), found, i;
    bool isMade, wasThere;
    /* They are alike: whoever looks first is the first. */
    atomic { nbBegun == me - 1 -> nbBegun++; found = path; isMoving[me] = ( found != 0 ) }
    if
    :: found == 0
    :: found != 0 && isAlive( found ) -> endMove( me ); goto over
    :: found != 0 && !isAlive( found ) ->
        atomic { wasThere = true; found = 0 }
        move( me, !isAlive( aside[me] ) )
    fi;
    /* The clock is read before; that it may be long before only shortens what is held. */
    atomic { next[me] = HELD; make( me, own, !wasThere, isMade ) }
    if
    :: isMade && wasThere ->
        settle( me );
        if
        :: path == own -> hold( me, next[me] )
        :: path != own -> atomic { life[own] = 0; next[me] = 0 } goto over
        fi
    :: isMade && !wasThere -> hold( me, next[me] )
    :: else -> next[me] = 0; goto over
    fi;
    /* Or dies. */
    if
    :: release( me )
    :: skip
    fi;
over:
    atomic { wasThere = false; isMade = false; found = 0 }
}

/* Time. */
proctype Clock() {
    byte i;
end_of_time:
    do
    :: atomic {
            for( i : 1 .. FILES - 1 ) {
                life[i] = ( life[i] > 0 -> life[i] - 1 : 0 )
            }
            for( i : 0 .. PROCESSES - 1 ) {
#ifndef NO_CLOCK
                held[i] = ( held[i] > 0 -> held[i] - 1 : 0 );
#endif
                next[i] = ( next[i] > 0 -> next[i] - 1 : 0 )
            }
            i = 0
        }
    od
}

init {
    atomic {
        life[fileOf( HOLDER )] = LIFE;
        held[HOLDER] = HELD;
        run Holder(); run Taker( 1 );
#if TAKERS > 1
        run Taker( 2 );
#endif
#if TAKERS > 2
        run Taker( 3 );
#endif
        run Clock()
    }
}
