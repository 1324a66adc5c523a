#pragma once
// Whether dates fall within a number of calendar years of one reference, for many dates at a
// time (the picker asks it of every track of a category): diffYears(d, reference) <= years,
// exactly, with the reference's calendar worked out once and each date compared by its day.

#include <cstdint>

#include "core/dates.h"

namespace tw::core {

class WithinYears {
  public:
    WithinYears(DateValue reference, int years);
    // diffYears(d, reference) <= years.
    bool operator()(DateValue d) const;

  private:
    std::int64_t firstDay_;  // the first day, counted as dates count days, of the earliest year
};

}  // namespace tw::core
