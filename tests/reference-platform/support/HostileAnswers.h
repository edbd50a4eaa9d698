#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

// The answers that tests/hostile-answers.json lists.

struct HostileAnswer {
  enum class Ending { Keep, Close, Reset, Hold, Endless, Drip };
  enum class Listening { ForRequest, Early, Deaf };
  struct Piece {
    std::string bytes;
    std::chrono::milliseconds pauseBefore{0};
  };

  std::string name;
  std::vector<Piece> pieces;
  Ending ending = Ending::Keep;
  Listening listening = Listening::ForRequest;
  std::string result; // S_OK, E_FAIL or a number in hexadecimal
  std::string body;
  std::string says;

  // Whether a limit, mostly one of time, has to end the call.
  bool TakesLong() const {
    return ending == Ending::Hold || ending == Ending::Drip || ending == Ending::Endless;
  }
  bool HasPauses() const {
    return std::any_of(pieces.begin(), pieces.end(),
                       [](const Piece& piece) { return piece.pauseBefore > piece.pauseBefore.zero(); });
  }
};

std::vector<HostileAnswer> ReadHostileAnswers(const std::string& path);
