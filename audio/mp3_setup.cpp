#include "audio/mp3_setup.h"

namespace tw::audio {

mpg123_handle* newMp3Handle() {
    // libmpg123 from 1.27 on needs no mpg123_init(): handles are independent of each other.
    int err = MPG123_OK;
    mpg123_handle* mh = mpg123_new(nullptr, &err);
    if (!mh) {
        return nullptr;
    }
    mpg123_param(mh, MPG123_ADD_FLAGS, MPG123_GAPLESS | MPG123_QUIET, 0.0);
    // A damaged stretch of a file (a bad copy, a broken download) is passed over however long it
    // is: the decoder looks for the next good frame instead of ending the track there.
    mpg123_param(mh, MPG123_RESYNC_LIMIT, -1, 0.0);
    mpg123_format_none(mh);
    const long* rates = nullptr;
    size_t count = 0;
    mpg123_rates(&rates, &count);
    for (size_t i = 0; i < count; ++i) {
        mpg123_format(mh, rates[i], MPG123_MONO | MPG123_STEREO, MPG123_ENC_SIGNED_16);
    }
    return mh;
}

}  // namespace tw::audio
