/* The wait for room of a queue's owner, beside the reader that makes room and the end of the logger
 * that calls waits off. No wait lasts for ever, and no count is left in the semaphore, by which a
 * later wait would end too soon. */

#define WAITS 2
#define NEEDED 2

byte nbUsed = 3;
#define SIZE 3
#define hasSpace() ( SIZE - nbUsed >= NEEDED )

bool lock, waitersLock;
#define take( l ) atomic { !l -> l = true }
#define give( l ) l = false

bool isNeeded, isCalledOff, isListed, areAllowed = true;
byte posts;
bool isReading = true;

active proctype Owner() {
    byte i;
    bool isWaiting;
    for( i : 1 .. WAITS ) {
        nbUsed = SIZE;
        isWaiting = false;
        take( waitersLock );
        if
        :: areAllowed ->
            isListed = true;
            take( lock ); isCalledOff = false; give( lock );
            give( waitersLock );
            take( lock );
            if
            :: isCalledOff
            :: else ->
                isNeeded = true;
                if
                :: hasSpace() -> isNeeded = false
                :: else -> isWaiting = true
                fi
            fi;
            give( lock );
            if
            :: isWaiting -> atomic { posts > 0 -> posts-- }
            :: else
            fi;
            take( waitersLock ); isListed = false; give( waitersLock )
        :: else -> give( waitersLock )
        fi
    }
    assert( posts == 0 && !isNeeded )
}

active proctype Reader() {
end_reading:
    do
    :: isReading && nbUsed > 0 ->
        atomic { nbUsed > 0 -> nbUsed-- }
        if
        :: isNeeded ->
            take( lock );
            if
            :: isNeeded && hasSpace() -> isNeeded = false; posts++
            :: else
            fi;
            give( lock )
        :: else
        fi
    :: !isReading -> break
    od
}

active proctype End() {
    /* Or it never comes. */
    if
    :: goto over
    :: skip
    fi;
    take( waitersLock );
    areAllowed = false;
    give( waitersLock );
    take( waitersLock );
    if
    :: isListed ->
        take( lock );
        isCalledOff = true;
        if
        :: isNeeded -> isNeeded = false; posts++
        :: else
        fi;
        give( lock )
    :: else
    fi;
    give( waitersLock );
    isReading = false;
over:
    skip
}
