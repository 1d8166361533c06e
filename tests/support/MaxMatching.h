#pragma once
// Maximum bipartite matching of items to locations (Hopcroft-Karp), the reference that decides
// whether a set of hashed items can all be placed. Written independently of the cuckoo engine:
// it recomputes from scratch, phase by phase, instead of extending a placement.
#include <cstddef>
#include <limits>
#include <vector>

namespace TarnTest {

// candidates[i] lists the locations item i may occupy; returns how many items a best
// placement holds.
inline std::size_t maxMatching(const std::vector<std::vector<unsigned>>& candidates,
                               unsigned locations) {
  const unsigned none = std::numeric_limits<unsigned>::max();
  const std::size_t n = candidates.size();
  std::vector<unsigned> itemAt(locations, none), locOf(n, none), dist(n);
  std::vector<unsigned> queue(n);
  std::vector<std::size_t> next(n);
  auto layer = [&]() {
    std::size_t head = 0, tail = 0;
    bool free = false;
    for (unsigned i = 0; i < n; ++i) {
      dist[i] = locOf[i] == none ? 0 : none;
      if (dist[i] == 0) queue[tail++] = i;
    }
    while (head < tail) {
      unsigned i = queue[head++];
      for (unsigned l : candidates[i]) {
        unsigned j = itemAt[l];
        if (j == none) {
          free = true;
        } else if (dist[j] == none) {
          dist[j] = dist[i] + 1;
          queue[tail++] = j;
        }
      }
    }
    return free;
  };
  // Iterative depth-first augment along the layers from free item `root`.
  auto augment = [&](unsigned root) {
    std::vector<unsigned> stack{root};
    while (!stack.empty()) {
      unsigned i = stack.back();
      if (next[i] == candidates[i].size()) {
        dist[i] = none;
        stack.pop_back();
        continue;
      }
      unsigned l = candidates[i][next[i]++];
      unsigned j = itemAt[l];
      if (j == none) {
        for (std::size_t k = stack.size(); k-- > 0;) {
          unsigned it = stack[k];
          unsigned loc = candidates[it][next[it] - 1];
          itemAt[loc] = it;
          locOf[it] = loc;
        }
        return true;
      }
      if (dist[j] == dist[i] + 1) stack.push_back(j);
    }
    return false;
  };
  std::size_t matched = 0;
  while (layer()) {
    std::fill(next.begin(), next.end(), 0);
    for (unsigned i = 0; i < n; ++i) {
      if (locOf[i] == none && augment(i)) ++matched;
    }
  }
  return matched;
}

}  // namespace TarnTest
