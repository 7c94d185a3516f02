// Values by their keys, of which those used last are kept.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <utility>

namespace kalvetra {

// Keeps values up to a sum of their costs: pieces, bytes. The newest one stays whatever it costs. For one thread at a
// time.
template <class Key, class Value>
class RecentlyUsed {
 public:
  explicit RecentlyUsed(std::size_t limit) : limit_(limit) {}

  // The value, which is the latest used now; null where there is none. The pointer holds until the next call of add().
  Value* find(const Key& key) {
    const auto found = kept_.find(key);
    if (found == kept_.end()) return nullptr;
    uses_.splice(uses_.begin(), uses_, found->second.use);
    return &found->second.value;
  }
  bool contains(const Key& key) const { return kept_.contains(key); }

  // Replaces the key's former value.
  Value& add(const Key& key, Value value, std::size_t cost = 1) {
    remove(key);
    std::list<Key> use{key};
    Value& added = kept_.emplace(key, Kept{std::move(value), cost, use.begin()}).first->second.value;
    uses_.splice(uses_.begin(), use);
    for (sum_ += cost; sum_ > limit_ && uses_.size() > 1;) remove(Key(uses_.back()));
    return added;
  }

  void clear() {
    kept_.clear();
    uses_.clear();
    sum_ = 0;
  }

 private:
  struct Kept {
    Value value;
    std::size_t cost;
    typename std::list<Key>::iterator use;
  };

  void remove(const Key& key) {
    const auto found = kept_.find(key);
    if (found == kept_.end()) return;
    sum_ -= found->second.cost;
    uses_.erase(found->second.use);
    kept_.erase(found);
  }

  std::size_t limit_, sum_ = 0;
  std::map<Key, Kept> kept_;
  std::list<Key> uses_;  // the latest used first
};

}  // namespace kalvetra
