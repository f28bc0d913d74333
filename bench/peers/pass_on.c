/* A filter of git that hands every file back as it came: what git's protocol for filters costs, without any work.
   gitprotocol-common(5) has the packets, gitattributes(5) the talk. Built and run by bench/git.py. */
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { kHeader = 4, kBuffer = 1 << 17 };

static char in[kBuffer];
static size_t begin, end;
static char* out;
static size_t used, room;

static void send_all(void) {
    for (size_t done = 0; done < used;) {
        const ssize_t count = write(1, out + done, used - done);
        if (count <= 0) {
            exit(1);
        }
        done += (size_t)count;
    }
    used = 0;
}

static void put(const char* data, size_t size) {
    if (room - used < size) {
        room = 2 * room + size;
        out = realloc(out, room);
        if (out == NULL) {
            exit(1);
        }
    }
    memcpy(out + used, data, size);
    used += size;
}

static void fill(size_t wanted) {
    memmove(in, in + begin, end - begin);
    end -= begin;
    begin = 0;
    while (end < wanted) {
        const ssize_t count = read(0, in + end, kBuffer - end);
        if (count <= 0) {
            exit(0);
        }
        end += (size_t)count;
    }
}

/* Takes a packet, and puts it into the answer as it stands if it is asked to. Returns 0 for one that ends a list. */
static int take(int keeps) {
    if (end - begin < kHeader) {
        fill(kHeader);
    }
    const char digits[kHeader + 1] = {in[begin], in[begin + 1], in[begin + 2], in[begin + 3], '\0'};
    const size_t length = strtoul(digits, NULL, 16);
    const size_t whole = length == 0 ? kHeader : length;
    if (end - begin < whole) {
        fill(whole);
    }
    if (keeps) {
        put(in + begin, whole);
    }
    begin += whole;
    return length != 0;
}

static void take_list(int keeps) {
    while (take(keeps)) {
    }
}

int main(void) {
    take_list(0);
    put("0016git-filter-server\n000eversion=2\n0000", 40);
    send_all();
    take_list(0);
    put("0015capability=clean\n0016capability=smudge\n0000", 47);
    send_all();
    for (;;) {
        take_list(0);
        put("0013status=success\n0000", 23);
        take_list(1);
        put("0000", 4);
        send_all();
    }
}
