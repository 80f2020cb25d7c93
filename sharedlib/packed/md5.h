// sharedlib/packed/md5.h: MD5 digests (RFC 1321). They find accidents, not forgers: never a proof of who wrote
// something.
#pragma once
#include "sharedlib/export.h"

#include <cstdint>

/// A digest under way: a plain record, copied and assigned as such.
struct md5_state_s {
    /// Message bits processed so far, low word first.
    std::uint32_t count[2];
    /// The running digest words A, B, C, D.
    std::uint32_t abcd[4];
    /// The bytes of the block that is not yet complete.
    unsigned char buf[64];
};

/// Starts a computation in `*state`.
SHAREDLIB_API void md5_init(md5_state_s* state);
/// Adds `length` bytes at `data`, which need no alignment; 0 or less adds nothing. Pieces of any size give the digest
/// of the whole.
SHAREDLIB_API void md5_append(md5_state_s* state, const unsigned char* data, int length);
/// Pads and writes the 16 digest bytes. The state is used up: start the next computation with `md5_init`.
SHAREDLIB_API void md5_finish(md5_state_s* state, unsigned char digest[16]);
