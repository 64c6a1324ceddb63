// The directories below an output root that the last walk went through,
// outermost first, each held open by its backend. A walk that begins like the
// last one reuses what that one opened, so that the entries of one folder cost
// one system call each rather than one per path component. Both backends of
// OutputDirectory keep their walk in one.
#ifndef BASE_PLATFORM_DIRECTORY_CHAIN_H_
#define BASE_PLATFORM_DIRECTORY_CHAIN_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace base::platform {

// `Opened` is what a backend holds of an open directory, and the function
// `close` lets go of one.
template <typename Opened, auto close>
class DirectoryChain {
 public:
  DirectoryChain() = default;
  DirectoryChain(const DirectoryChain&) = delete;
  DirectoryChain& operator=(const DirectoryChain&) = delete;
  ~DirectoryChain() { Truncate(0); }

  // The directory of the first `depth` components of the last walk; depth 0,
  // the root, is the backend's own.
  const Opened& At(std::size_t depth) const { return opened_[depth - 1]; }

  // Walks to the directory of the first `count` of `parts`. What the last walk
  // opened along the same names is kept; `openChild(depth, name)` opens each
  // further directory below the one at `depth` and gives std::nullopt when it
  // cannot, which ends the walk with false.
  template <typename OpenChild>
  bool Walk(const std::vector<std::string_view>& parts, std::size_t count, OpenChild openChild) {
    std::size_t kept = 0;
    while (kept < count && kept < names_.size() && names_[kept] == parts[kept])
      ++kept;
    // Deeper directories of the last walk stay open while this one ends above
    // them: checking a parent must not cost reopening its children.
    if (kept < count)
      Truncate(kept);
    for (std::size_t depth = kept; depth < count; ++depth) {
      std::optional<Opened> child = openChild(depth, parts[depth]);
      if (!child)
        return false;
      opened_.push_back(std::move(*child));
      names_.emplace_back(parts[depth]);
    }
    return true;
  }

 private:
  void Truncate(std::size_t depth) {
    while (opened_.size() > depth) {
      close(opened_.back());
      opened_.pop_back();
      names_.pop_back();
    }
  }

  std::vector<std::string> names_;
  std::vector<Opened> opened_;
};

}  // namespace base::platform

#endif  // BASE_PLATFORM_DIRECTORY_CHAIN_H_
