/* The protocol of a save: two writers of ours, another program, and a sweep, each of which may be killed at any step;
   the power may fail at any step too, which check() sees to by looking at all that the disk may then hold.

   A file is the set of saves that it contains. A save contains those of the version that was opened, and itself; the
   other program looks at nothing and knows of no lock, but makes its versions from the one that it replaces.

   Left out by definition: no sync of the file, of the folder; no lock; no look at what a sweep is about to take.
   RENAME: the file system cannot exchange names. QUIET: there is no other program. */

#define OLD 1                   /* the file in the beginning; 2 and 3 are the writers', 4 and 5 the other program's */
#define FRESH(w) (2 + w)
#define BIT(i) (1 << (i))
#define SWEEP 3                 /* as a holder of locks; the writers are 1 and 2 */

byte name = OLD;                /* what the names stand for; 0: nothing */
byte temp[2];
byte replaced[2];               /* what the temporary's name tells of the file that is to be replaced; 0: not yet */
bool alive[2];
byte lock[6];
byte contains[6];               /* sets of saves */
byte beside[6];                 /* those that lay beside when the name stood for a file */
byte done;                      /* the saves that were told to have worked, */
byte durable;                   /* and those that were told to survive a loss of power */
byte told;                      /* the saves that a conflict has named as lying beside */
bool killed;
byte whole = BIT(OLD);          /* the files that are on the disk, */
byte possible = BIT(OLD);       /* and those that the name may stand for after a loss of power */

/* What lies beside the file. When another program comes between, a version is there until it has its name back, and
   stays there when the writer is killed before that. */
#ifdef QUIET
#define BESIDE 0
#else
#define BESIDE (contains[temp[0]] | contains[temp[1]])
#endif

inline check() {
    assert((possible & ~whole) == 0);
    assert((done & ~(contains[name] | BESIDE)) == 0);
    beside[name] = BESIDE;
    i = OLD;
    do
    :: i == 6 -> break
    :: i < 6 && (possible & BIT(i)) -> assert((durable & ~(contains[i] | beside[i])) == 0); i++
    :: i < 6 && !(possible & BIT(i)) -> i++
    od
}

#define STEP(action) if :: atomic { action; check() } :: killed = true; goto end fi

inline exchange() {
    i = name;
    name = temp[w];
    temp[w] = i;
    possible = possible | BIT(name)
}

inline syncFolder() {
#ifndef NO_FOLDER_SYNC
    possible = BIT(name)
#else
    skip
#endif
}

inline unlockAll() {
    i = 0;
    do
    :: i == 6 -> break
    :: i < 6 -> lock[i] = (lock[i] == me -> 0 : lock[i]); i++
    od
}

proctype Writer(byte w) {
    byte me = w + 1;
    byte opened, i;
    atomic { opened = name; alive[w] = true };
    STEP(temp[w] = FRESH(w); lock[FRESH(w)] = me; contains[FRESH(w)] = contains[opened] | BIT(FRESH(w)));
#ifndef NO_FILE_SYNC
    STEP(whole = whole | BIT(FRESH(w)));
#endif
#ifndef NO_LOCK
    STEP(lock[opened] == 0 -> lock[opened] = me);
#endif
    if
    :: name == opened
    :: name != opened -> goto discard
    fi;
    STEP(replaced[w] = opened);
#ifdef RENAME
    STEP(exchange(); temp[w] = 0);
#else
    STEP(exchange());
    if
    :: temp[w] == opened -> STEP(temp[w] = 0)
    :: temp[w] != opened ->
        STEP(exchange());
        STEP(if :: temp[w] != FRESH(w) -> exchange() :: else fi);
        STEP(syncFolder());
        STEP(told = told | (temp[w] == FRESH(w) -> 0 : contains[temp[w]]));
        goto discard
    fi;
#endif
    STEP(unlockAll());
    STEP(syncFolder());
    atomic { done = done | BIT(FRESH(w)); durable = durable | BIT(FRESH(w)); check() };
    goto end;
discard:
    STEP(temp[w] = (temp[w] == FRESH(w) -> 0 : temp[w]));
end:
    atomic { unlockAll(); alive[w] = false }
}

proctype Other() {
    byte i;
    byte version = 4;
    do
    :: version == 6 -> break
    :: version < 6 ->
        atomic {
            contains[version] = contains[name] | BIT(version);
            whole = whole | BIT(version);
            name = version;
            possible = possible | BIT(name);
            done = done | BIT(version);
            check()
        };
        version++
    :: break
    od
}

#define NOBODY_MISSES(file) (replaced[w] == 0 || file == FRESH(w) || file == replaced[w])

/* Any temporary may be an hour old: also the version that a writer has just displaced. */
proctype Sweep() {
    byte i, w, file;
    byte me = SWEEP;
    do
    :: w == 2 -> break
    :: w < 2 ->
        file = temp[w];
        if
#ifndef NO_LOOK
        :: atomic { file != 0 && temp[w] == file && lock[file] == 0 && NOBODY_MISSES(file) -> lock[file] = me };
#else
        :: file != 0;
#endif
            atomic { assert(!alive[w]); temp[w] = 0; check() };
            atomic { unlockAll() }
        :: true
        fi;
        w++
    od
}

init {
    atomic {
        run Writer(0);
        run Writer(1);
        run Sweep();
#ifndef QUIET
        run Other()
#endif
    }
    _nr_pr == 1;
    assert(killed || (done & ~(contains[name] | told)) == 0)
}
