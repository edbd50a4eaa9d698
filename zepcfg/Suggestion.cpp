#include "Suggestion.h"

#include <algorithm>
#include <numeric>

namespace zep::cli {
namespace {

// Insertions, deletions and replacements that turn one word into the other; two neighbours that
// changed places count as one.
std::size_t distance(const std::string& left, const std::string& right) {
  std::vector<std::vector<std::size_t>> rows(left.size() + 1, std::vector<std::size_t>(right.size() + 1));
  std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
  for (std::size_t i = 1; i <= left.size(); ++i) {
    rows[i][0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t replaced = rows[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
      rows[i][j] = std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, replaced});
      if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
      }
    }
  }
  return rows[left.size()][right.size()];
}

} // namespace

std::string nearestWord(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t longestWord = 64;
  constexpr std::size_t largestDistance = 2;
  std::string nearest;
  std::size_t least = largestDistance + 1;
  for (const std::string& candidate : known) {
    const std::size_t away = word.size() > longestWord ? least : distance(word, candidate);
    if (away < least && away < candidate.size() / 2 + 1) {
      nearest = candidate;
      least = away;
    }
  }
  return nearest;
}

} // namespace zep::cli
