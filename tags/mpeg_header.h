#pragma once
// Figures of the first MPEG audio frame, computed from the stored header bytes at each call.
// They are the raw field values (Layer 1 is Layer III, MPEGVersion 2 is MPEG 1), as the tag
// object has always reported them.

#include <cstdint>

#include "tags/tag_fields.h"

namespace tw::tags::mpeg {

std::int32_t Layer(const AudioState& a);
std::int32_t MPEGVersion(const AudioState& a);
std::int32_t ChannelMode(const AudioState& a);
std::int32_t Padding(const AudioState& a);
std::int32_t Encoding(const AudioState& a);
std::int32_t SamplingRateFrequency(const AudioState& a);
std::int32_t FrameSamples(const AudioState& a);
double bitrate(const AudioState& a);
double FrameSize(const AudioState& a);
double Length(const AudioState& a);

// The acceptance test of the scan for the candidate in a.headerBytes.
bool acceptableFrame(const AudioState& a);

}  // namespace tw::tags::mpeg
