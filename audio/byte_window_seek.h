#pragma once
// The seek rule of the decoders' byte windows (a file window or a memory image): the new position
// from an offset and SEEK_SET / SEEK_CUR / SEEK_END, or -1 when it falls outside the window.
//
// Thread contract: whichever thread owns the window.

#include <cstdio>

namespace tw::audio {

template <typename Offset>
Offset seekInWindow(Offset& pos, Offset size, Offset offset, int whence) {
    Offset target = offset;
    if (whence == SEEK_CUR) {
        target = pos + offset;
    } else if (whence == SEEK_END) {
        target = size + offset;
    }
    if (target < 0 || target > size) {
        return -1;
    }
    pos = target;
    return target;
}

}  // namespace tw::audio
