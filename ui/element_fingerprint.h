#pragma once
// A fingerprint of everything the view draws of an element, so that the window repaints only
// the places that changed since the last look instead of the whole console on every beat.
//
// Thread contract: console thread only (reads the surface).

#include <cstddef>

#include "core/surface.h"

namespace tw::ui {

// Equal for two looks at an element that would paint the same; different (but for a hash
// collision) when anything drawn differs: captions, colours, role, place, visibility, texts,
// values, items, rows, columns, selection and the drawing.
std::size_t elementFingerprint(const core::Element& e);
// The same for the console window, which paints a list or grid from its top row and only as many
// rows as its box shows: the rows out of view count by their number alone, so that a look at a
// list of 100,000 tracks costs what a look at its visible rows does.
std::size_t shownFingerprint(const core::Element& e);

}  // namespace tw::ui
