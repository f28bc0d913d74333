/* The protocol of a save: two or three writers of ours, other programs, and a sweep, each of which may be killed at any step;
   the power may fail at any step too, which check() sees to by looking at all that the disk may then hold.

   A file is the set of saves that it contains. A save contains those of the version that was opened, and itself; the
   other program looks at nothing and knows of no lock, but makes its versions from the one that it replaces.

   A third program has the file open and writes in place, once: its save is in whatever file that is by then. What it
   writes to a version that was displaced and looked at already cannot be had, and is left out.

   Left out by definition: no sync of the file, of the folder; no lock; no look at what a sweep is about to take, or
   none at what is written in place.
   RENAME: the file system cannot exchange names. QUIET: there is no other program that replaces the file, IN_PLACE: there
   is one that writes in place. GIVE_UP: a writer may wait for a lock in vain, and go on. THREE: there are three
   writers. */

#ifdef THREE
#define WRITERS 3
#else
#define WRITERS 2
#endif
#define OLD 1                   /* the file in the beginning; then come those of the writers and of the other program */
#define FRESH(w) (2 + w)
#define OTHERS (2 + WRITERS)
#define FILES (OTHERS + 2)
#define BIT(i) (1 << (i))
#define INTO_PLACE BIT(FILES)   /* the save of the program that writes in place */
#define SWEEP (WRITERS + 1)     /* as a holder of locks; the writers come before */

byte name = OLD;                /* what the names stand for; 0: nothing */
byte temp[WRITERS];
byte replaced[WRITERS];         /* what the temporary's name tells of the file that is to be replaced; 0: not yet */
bool alive[WRITERS];
byte lock[FILES];
byte contains[FILES];           /* sets of saves */
byte beside[FILES];             /* those that lay beside when the name stood for a file */
byte dirty;                     /* the file that was written to in place; 0: none */
byte done;                      /* the saves that were told to have worked, */
byte durable;                   /* and those that were told to survive a loss of power */
byte told;                      /* the saves that a conflict has named as lying beside */
byte looked;                    /* the displaced versions that were found to be what was opened */
bool killed;
byte whole = BIT(OLD);          /* the files that are on the disk, */
byte possible = BIT(OLD);       /* and those that the name may stand for after a loss of power */

/* What lies beside the file. When another program comes between, a version is there until it has its name back, and
   stays there when the writer is killed before that. */
#if defined(QUIET) && !defined(IN_PLACE) && !defined(GIVE_UP)
#define BESIDE 0
#elif defined(THREE)
#define BESIDE (contains[temp[0]] | contains[temp[1]] | contains[temp[2]])
#else
#define BESIDE (contains[temp[0]] | contains[temp[1]])
#endif

inline check() {
    assert((possible & ~whole) == 0);
    assert((done & ~(contains[name] | BESIDE)) == 0);
    beside[name] = BESIDE;
    i = OLD;
    do
    :: i == FILES -> break
    :: i < FILES && (possible & BIT(i)) -> assert((durable & ~(contains[i] | beside[i])) == 0); i++
    :: i < FILES && !(possible & BIT(i)) -> i++
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
    :: i == FILES -> break
    :: i < FILES -> lock[i] = (lock[i] == me -> 0 : lock[i]); i++
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
#ifdef GIVE_UP
    STEP(if :: lock[opened] == 0 -> lock[opened] = me :: lock[opened] != 0 fi);
#else
    STEP(lock[opened] == 0 -> lock[opened] = me);
#endif
#endif
    if
    :: name == opened && dirty != opened
    :: name != opened || dirty == opened -> goto discard
    fi;
    STEP(replaced[w] = opened);
#ifdef RENAME
    STEP(exchange(); temp[w] = 0);
#else
    STEP(exchange());
    if
    :: atomic { temp[w] == opened && dirty != opened -> looked = looked | BIT(opened) }; STEP(temp[w] = 0)
    :: temp[w] == 0             /* swept already, as what nobody misses */
    :: temp[w] != 0 && (temp[w] != opened || dirty == opened) ->
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
    byte version = OTHERS;
    do
    :: version == FILES -> break
    :: version < FILES ->
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

/* Has the file open from some moment on; the lock of a writer does not keep it. */
proctype InPlace() {
    byte i;
    byte opened = name;
    if
    :: atomic {
        (looked & BIT(opened)) == 0 ->
            contains[opened] = contains[opened] | INTO_PLACE;
            dirty = opened;
            done = done | INTO_PLACE;
            check()
    }
    :: true
    fi
}

#ifdef NO_CONTENT
#define IS_KNOWN(file) (file == FRESH(w) || file == replaced[w])
#else
#define IS_KNOWN(file) (dirty != file && (file == FRESH(w) || file == replaced[w]))
#endif
#define NOBODY_MISSES(file) (replaced[w] == 0 || IS_KNOWN(file))

/* A writer that has waited for a lock in vain does not have it; the version that it replaced is not missed. */
#ifdef GIVE_UP
#define IS_GIVEN_UP(file) (file == replaced[w])
#else
#define IS_GIVEN_UP(file) false
#endif

/* Any temporary may be an hour old: also the version that a writer has just displaced. */
proctype Sweep() {
    byte i, w, file;
    byte me = SWEEP;
    do
    :: w == WRITERS -> break
    :: w < WRITERS ->
        file = temp[w];
        if
#ifndef NO_LOOK
        :: atomic { file != 0 && temp[w] == file && lock[file] == 0 && NOBODY_MISSES(file) -> lock[file] = me };
#else
        :: file != 0;
#endif
            atomic { assert(!alive[w] || IS_GIVEN_UP(file)); temp[w] = 0; check() };
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
#ifdef THREE
        run Writer(2);
#endif
#ifdef IN_PLACE
        run InPlace();
#endif
        run Sweep();
#ifndef QUIET
        run Other()
#endif
    }
    _nr_pr == 1;
    assert(killed || (done & ~(contains[name] | told)) == 0)
}
