// The page of the demo: one HTML file that needs nothing else, light or dark as the reader's system is.
#pragma once

#include <string>
#include <vector>

#include "exhibit.h"
#include "measure.h"

namespace demo {

std::string page(const std::string& name, const sample::Picture& picture, const std::vector<Result>& results,
                 const std::vector<Section>& sections);

}  // namespace demo
