#include "codes/LogLine.h"

namespace JobsManagerD {
namespace {

using Line = LogLine<const char*, int, size_t>;
static_assert(Line::Fits("%s took %d of %zu, 100 %%"));
static_assert(Line::Fits("%s alone") && Line::Fits("nothing"));
static_assert(!Line::Fits("%d"), "of another type");
static_assert(!Line::Fits("%s %d %u"), "of another size");
static_assert(!Line::Fits("%s %d %zu %s"), "one that nobody gives");
static_assert(!Line::Fits("%s %"), "cut off");

} // namespace
} // namespace JobsManagerD
