#pragma once

#include <string>
#include <vector>

namespace zep::cli {

// The known word that somebody who typed `word` most likely meant; empty when none is close.
std::string nearestWord(const std::string& word, const std::vector<std::string>& known);

} // namespace zep::cli
