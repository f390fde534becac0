/* The crash sequence beside threads that go on logging: what was stamped before the crash is read,
 * also where it was being written at that moment, and nothing that was stamped later. A clock gives
 * each asker another stamp. */

#define OWNERS 2
#define STATEMENTS 2
#define NONE 255
/* As in LgQueue. */
#define NO_STATEMENT 0
#define NOT_STAMPED 1

byte clock = 2;
#define ask( result ) atomic { result = clock; clock++ }

byte written[OWNERS], end[OWNERS], beg[OWNERS];
byte stamps[4];
#define STAMP( owner, index ) stamps[( owner ) * STATEMENTS + ( index )]
byte crashTime;
bool isRunning = true, isOver;

proctype Owner( byte own ) {
    byte i, stamp;
    for( i : 0 .. STATEMENTS - 1 ) {
        written[own] = NOT_STAMPED;
        ask( stamp );
        STAMP( own, i ) = stamp;
        written[own] = stamp;
        end[own]++;
        written[own] = NO_STATEMENT
    }
}

byte earliest, earliestStamp, earliestWritten;

/* One pass of the reader; `earliest` is NONE when there is nothing to read. */
inline look( own, seen ) {
    earliest = NONE; earliestStamp = NONE; earliestWritten = NONE;
    for( own : 0 .. OWNERS - 1 ) {
        seen = written[own];
        if
        :: beg[own] != end[own] && STAMP( own, beg[own] ) < earliestStamp ->
            earliest = own;
            earliestStamp = STAMP( own, beg[own] )
        :: else
        fi;
        if
        :: seen != NO_STATEMENT && seen < earliestWritten -> earliestWritten = seen
        :: else
        fi
    }
    if
    :: earliest != NONE && crashTime != 0 && earliestStamp > crashTime -> earliest = NONE
    :: else
    fi
}

active proctype Reader() {
    byte own, seen;
    bool wasRunning;
    do
    :: wasRunning = isRunning;
        look( own, seen );
        if
        :: earliest != NONE ->
            assert( wasRunning || STAMP( earliest, beg[earliest] ) <= crashTime );
            beg[earliest]++
        :: earliest == NONE && !wasRunning && earliestWritten > crashTime -> break
        :: else
        fi
    od;
    isOver = true
}

active proctype Crash() {
    byte own, i, now;
    ask( now );
    crashTime = now;
    isRunning = false;
    isOver;
    for( own : 0 .. OWNERS - 1 ) {
        for( i : 0 .. STATEMENTS - 1 ) {
            assert( STAMP( own, i ) == 0 || STAMP( own, i ) > crashTime || i < beg[own] )
        }
    }
}

init { atomic { run Owner( 0 ); run Owner( 1 ) } }
