// The full read: tags, Lyrics3 and the MPEG scan with every figure computed.

#include "fuzz/fuzz_tag_common.h"
#include "tags/id3_tag.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tw::fuzz::InputFile input(data, size);
    tw::tags::clsID3 tag;
    tag.filename(input.path());
    tag.RefreshID3Tags();
    volatile double sink = tag.bitrate() + tag.FrameSize() + tag.Length() + tag.Layer() +
                           tag.MPEGVersion() + tag.ChannelMode() + tag.Padding() + tag.Encoding() +
                           tag.SamplingRateFrequency() + tag.FrameSamples();
    (void)sink;
    return 0;
}
