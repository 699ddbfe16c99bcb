#include "matching.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace pcicim {
namespace {

using List = std::vector<std::size_t>;
using Card = FunctionTree::Card;
using RootBus = FunctionTree::RootBus;
using Hash = std::uint64_t;

/// Not to be relied on: what has the same hash is compared.
Hash combine(Hash seed, Hash value) {
  seed = (seed ^ value) * 0x9e3779b97f4a7c15U;
  return seed ^ seed >> 29U;
}

Hash hashOf(const Identity& identity) {
  Hash hash = combine(0, identity.vendor);
  for (const std::uint64_t part : {identity.device, identity.subsystemVendor, identity.subsystem,
                                   identity.classCode, identity.subClass}) {
    hash = combine(hash, part);
  }
  return hash;
}

unsigned functionNumber(const ComparedFunction& function) {
  return function.address ? function.address->function : 0;
}

Hash placeHash(const ComparedFunction& function) {
  return function.address ? combine(function.address->device, function.address->function)
                          : std::hash<std::string>()(function.id);
}

/// Where a function is among those behind the same one: the numbers that stay when buses are
/// numbered anew.
struct Place {
  bool isUnreadable = false;
  std::uint64_t segment = 0;
  std::int64_t bus = 0;
  unsigned device = 0;
  unsigned function = 0;
  /// Of one without readable address.
  std::string_view id;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the generated comparison for a 0.
  auto operator<=>(const Place&) const = default;
};

/// What the places of a list are counted from.
struct Base {
  std::uint64_t segment = 0;
  unsigned bus = 0;
};

Base firstOf(const FunctionTree& tree, const List& list) {
  if (list.empty() || !tree.function(list.front()).address) {
    return {};
  }
  const Address& address = *tree.function(list.front()).address;
  return {address.segment, address.bus};
}

Place placeOf(const ComparedFunction& function, const Base& base) {
  Place place;
  if (!function.address) {
    place.isUnreadable = true;
    place.id = function.id;
    return place;
  }
  const Address& address = *function.address;
  place.segment = address.segment - base.segment;
  place.bus = std::int64_t{address.bus} - std::int64_t{base.bus};
  place.device = address.device;
  place.function = address.function;
  return place;
}

bool isSameModel(const Identity& left, const Identity& right) {
  return left.vendor == right.vendor && left.device == right.device;
}

/// The hash of each function with all that is behind it.
std::vector<Hash> subtreeHashes(const FunctionTree& tree) {
  std::vector<Hash> hashes(tree.size());
  const List& order = tree.topDown();
  for (auto index = order.rbegin(); index != order.rend(); ++index) {
    Hash hash = hashOf(tree.function(*index).identity);
    for (const std::size_t child : tree.children(*index)) {
      hash = combine(combine(hash, placeHash(tree.function(child))), hashes[child]);
    }
    hashes[*index] = hash;
  }
  return hashes;
}

/// Hands out what has a key, first in first out.
class Buckets {
 public:
  void add(Hash key, std::size_t item) { buckets_[key].items.push_back(item); }

  /// The first left that suits; those passed over are gone, too.
  template <typename Suits>
  std::size_t take(Hash key, const Suits& suits) {
    const auto found = buckets_.find(key);
    if (found == buckets_.end()) {
      return kNone;
    }
    Bucket& bucket = found->second;
    while (bucket.next < bucket.items.size()) {
      const std::size_t item = bucket.items[bucket.next++];
      if (suits(item)) {
        return item;
      }
    }
    return kNone;
  }

 private:
  struct Bucket {
    List items;
    std::size_t next = 0;
  };

  std::unordered_map<Hash, Bucket> buckets_;
};

/// Pairs the root buses of two sides: by their numbers where they have something in common, else
/// with the one that has most in common, in the same segment or in another, else by number alone.
class RootBuses {
 public:
  RootBuses(const FunctionTree& before, const FunctionTree& after)
      : before_(before),
        after_(after),
        isPaired_(before.rootBuses().size(), false),
        isTaken_(after.rootBuses().size(), false) {}

  std::vector<std::pair<std::size_t, std::size_t>> pair() {
    pairEqualNumbers(true);
    noteContents();
    pairSimilar(true);
    pairSimilar(false);
    pairEqualNumbers(false);
    return std::move(pairs_);
  }

 private:
  /// As many buses with one function alike are looked at.
  static constexpr std::size_t kLookedAt = 256;

  const RootBus& bus(std::size_t index) const { return before_.rootBuses()[index]; }
  const RootBus& other(std::size_t index) const { return after_.rootBuses()[index]; }

  static Hash contentHash(const ComparedFunction& function) {
    return combine(placeHash(function), hashOf(function.identity));
  }

  void noteContents() {
    for (std::size_t i = 0; i < isTaken_.size(); ++i) {
      if (isTaken_[i]) {
        continue;
      }
      for (const std::size_t index : other(i).functions) {
        List& buses = contents_[contentHash(after_.function(index))];
        if (buses.size() < kLookedAt && (buses.empty() || buses.back() != i)) {
          buses.push_back(i);
        }
      }
    }
  }

  bool haveCommon(std::size_t index, std::size_t candidate) const {
    std::unordered_set<Hash> hashes;
    for (const std::size_t function : other(candidate).functions) {
      hashes.insert(contentHash(after_.function(function)));
    }
    const List& functions = bus(index).functions;
    return std::any_of(functions.begin(), functions.end(), [&](std::size_t function) {
      return hashes.count(contentHash(before_.function(function))) != 0;
    });
  }

  /// By bus of the other side how many functions the bus has in common with it.
  std::map<std::size_t, std::size_t> common(std::size_t index) const {
    std::map<std::size_t, std::size_t> counts;
    for (const std::size_t function : bus(index).functions) {
      const auto found = contents_.find(contentHash(before_.function(function)));
      if (found == contents_.end()) {
        continue;
      }
      for (const std::size_t candidate : found->second) {
        if (!isTaken_[candidate]) {
          ++counts[candidate];
        }
      }
    }
    return counts;
  }

  void pairEqualNumbers(bool withCommon) {
    std::size_t candidate = 0;
    for (std::size_t i = 0; i < isPaired_.size(); ++i) {
      while (candidate < isTaken_.size() && other(candidate).number < bus(i).number) {
        ++candidate;
      }
      if (candidate < isTaken_.size() && other(candidate).number == bus(i).number &&
          !isPaired_[i] && !isTaken_[candidate] && (!withCommon || haveCommon(i, candidate))) {
        add(i, candidate);
      }
    }
  }

  void pairSimilar(bool inSegment) {
    for (std::size_t i = 0; i < isPaired_.size(); ++i) {
      if (isPaired_[i] || !bus(i).number) {
        continue;
      }
      std::size_t best = kNone;
      std::size_t most = 0;
      for (const auto& [candidate, count] : common(i)) {
        const auto& number = other(candidate).number;
        const bool suits = number && (!inSegment || number->first == bus(i).number->first);
        if (suits && count > most) {
          best = candidate;
          most = count;
        }
      }
      if (best != kNone) {
        add(i, best);
      }
    }
  }

  void add(std::size_t index, std::size_t candidate) {
    isPaired_[index] = true;
    isTaken_[candidate] = true;
    pairs_.emplace_back(index, candidate);
  }

  const FunctionTree& before_;
  const FunctionTree& after_;
  std::vector<bool> isPaired_;
  std::vector<bool> isTaken_;
  /// Which buses after have a function of that place and identity.
  std::unordered_map<Hash, List> contents_;
  std::vector<std::pair<std::size_t, std::size_t>> pairs_;
};

class Matcher {
 public:
  Matcher(const FunctionTree& before, const FunctionTree& after)
      : before_(before),
        after_(after),
        result_{List(before.size(), kNone), List(after.size(), kNone),
                std::vector<Link>(before.size(), Link::kNowhere)} {}

  Matching match() {
    rootBuses_ = RootBuses(before_, after_).pair();
    matchPlaces(&isSame);
    moveCards(true);
    moveCards(false);
    moveFunctions();
    matchPlaces(
        [](const Identity& left, const Identity& right) { return isSameModel(left, right); });
    return std::move(result_);
  }

 private:
  using IsSame = bool (*)(const Identity&, const Identity&);

  /// Bridges are told by what is behind them, too: what is written in them may differ.
  static bool isSame(const Identity& left, const Identity& right) {
    return left == right || ((left.isBridge() || right.isBridge()) && isSameModel(left, right));
  }

  bool isFree(const FunctionTree& tree, std::size_t index) const {
    return (&tree == &before_ ? result_.after : result_.before)[index] == kNone;
  }

  bool isFree(const FunctionTree& tree, const Card& card) const {
    return std::all_of(card.begin(), card.end(),
                       [&](std::size_t index) { return isFree(tree, index); });
  }

  /// True when what leads to the card is there on both sides.
  bool isTop(const FunctionTree& tree, const Card& card) const {
    const std::size_t parent = tree.parent(card.front());
    return parent == kNone || !isFree(tree, parent);
  }

  /// Pairs what is at the same place, from all root buses and all pairs that there are.
  void matchPlaces(IsSame areSame) {
    for (const auto& [bus, other] : rootBuses_) {
      const RootBus& left = before_.rootBuses()[bus];
      const RootBus& right = after_.rootBuses()[other];
      matchLists(left.functions, right.functions, Link::kSamePlace, areSame);
    }
    for (std::size_t index = 0; index < before_.size(); ++index) {
      if (result_.after[index] != kNone) {
        open_.push_back(index);
      }
    }
    matchOpen(areSame);
  }

  void matchOpen(IsSame areSame) {
    while (!open_.empty()) {
      const std::size_t index = open_.back();
      open_.pop_back();
      const bool staysInPlace = result_.links[index] == Link::kSamePlace;
      matchChildren(index, staysInPlace ? Link::kSamePlace : Link::kCarried, areSame);
    }
  }

  void matchChildren(std::size_t index, Link link, IsSame areSame) {
    const std::size_t other = result_.after[index];
    matchLists(before_.children(index), after_.children(other), link, areSame,
               before_.function(index).secondaryBus.value_or(0),
               after_.function(other).secondaryBus.value_or(0));
  }

  /// `bus` and `otherBus` are those that the lists are on, where both are known.
  void matchLists(const List& left, const List& right, Link link, IsSame areSame, unsigned bus = 0,
                  unsigned otherBus = 0) {
    Base base = firstOf(before_, left);
    Base otherBase = firstOf(after_, right);
    if (bus != 0 && otherBus != 0) {
      base.bus = bus;
      otherBase.bus = otherBus;
    }
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < left.size() && j < right.size()) {
      const ComparedFunction& function = before_.function(left[i]);
      const ComparedFunction& other = after_.function(right[j]);
      const auto order = placeOf(function, base) <=> placeOf(other, otherBase);
      if (std::is_lt(order) || !isFree(before_, left[i])) {
        ++i;
      } else if (std::is_gt(order) || !isFree(after_, right[j])) {
        ++j;
      } else {
        if (areSame(function.identity, other.identity)) {
          pair(left[i], right[j], link);
        }
        ++i;
        ++j;
      }
    }
  }

  void pair(std::size_t index, std::size_t other, Link link) {
    result_.after[index] = other;
    result_.before[other] = index;
    result_.links[index] = link;
    open_.push_back(index);
  }

  /// What is soldered to its place: host bridges, ports of switches.
  static bool isFixed(const FunctionTree& tree, const Card& card) {
    return std::all_of(card.begin(), card.end(), [&tree](std::size_t index) {
      return tree.function(index).identity.isBridge() && !tree.function(index).isListed;
    });
  }

  static bool hasChildren(const FunctionTree& tree, const Card& card) {
    return std::any_of(card.begin(), card.end(),
                       [&tree](std::size_t index) { return !tree.children(index).empty(); });
  }

  static Hash cardHash(const FunctionTree& tree, const Card& card,
                       const std::vector<Hash>* subtrees) {
    Hash hash = card.size();
    for (const std::size_t index : card) {
      hash = combine(hash, functionNumber(tree.function(index)));
      hash = combine(
          hash, subtrees != nullptr ? (*subtrees)[index] : hashOf(tree.function(index).identity));
    }
    return hash;
  }

  bool isEqual(const Card& card, const Card& other) const {
    return std::equal(card.begin(), card.end(), other.begin(), other.end(),
                      [this](std::size_t left, std::size_t right) {
                        const ComparedFunction& one = before_.function(left);
                        const ComparedFunction& two = after_.function(right);
                        return functionNumber(one) == functionNumber(two) &&
                               one.identity == two.identity;
                      });
  }

  bool mayMove(const FunctionTree& tree, const Card& card, bool onlyTops) const {
    return isFree(tree, card) && (!onlyTops || isTop(tree, card)) &&
           (!isFixed(tree, card) || hasChildren(tree, card));
  }

  /// Cards first that are found with all that is behind them, so that no other takes their place.
  /// With `onlyTops` those alone whose neighbourhood is known.
  void moveCards(bool onlyTops) {
    if (subtrees_.empty()) {
      subtrees_ = subtreeHashes(before_);
      otherSubtrees_ = subtreeHashes(after_);
    }
    Buckets whole;
    Buckets alone;
    for (std::size_t i = 0; i < after_.cards().size(); ++i) {
      const Card& card = after_.cards()[i];
      if (mayMove(after_, card, onlyTops)) {
        whole.add(cardHash(after_, card, &otherSubtrees_), i);
        if (!onlyTops && !isFixed(after_, card)) {
          alone.add(cardHash(after_, card, nullptr), i);
        }
      }
    }
    for (const Card& card : before_.cards()) {
      if (mayMove(before_, card, onlyTops) &&
          !move(card, whole, cardHash(before_, card, &subtrees_)) && !onlyTops &&
          !isFixed(before_, card)) {
        move(card, alone, cardHash(before_, card, nullptr));
      }
    }
  }

  bool move(const Card& card, Buckets& candidates, Hash hash) {
    const std::size_t found = candidates.take(hash, [&](std::size_t candidate) {
      const Card& other = after_.cards()[candidate];
      return isFree(after_, other) && isEqual(card, other);
    });
    if (found == kNone) {
      return false;
    }
    for (std::size_t i = 0; i < card.size(); ++i) {
      pair(card[i], after_.cards()[found][i], Link::kMoved);
    }
    matchOpen(&isSame);
    return true;
  }

  void moveFunctions() {
    Buckets functions;
    for (const std::size_t index : after_.topDown()) {
      const ComparedFunction& function = after_.function(index);
      if (isFree(after_, index) && !function.identity.isBridge()) {
        functions.add(hashOf(function.identity), index);
      }
    }
    for (const std::size_t index : before_.topDown()) {
      if (!isFree(before_, index)) {
        continue;
      }
      const Identity& identity = before_.function(index).identity;
      const std::size_t other = functions.take(hashOf(identity), [&](std::size_t candidate) {
        return isFree(after_, candidate) && after_.function(candidate).identity == identity;
      });
      if (other != kNone) {
        pair(index, other, Link::kMoved);
      }
    }
    matchOpen(&isSame);
  }

  const FunctionTree& before_;
  const FunctionTree& after_;
  Matching result_;
  std::vector<std::pair<std::size_t, std::size_t>> rootBuses_;
  std::vector<Hash> subtrees_;
  std::vector<Hash> otherSubtrees_;
  /// Paired, while what is behind them has still to be looked at.
  List open_;
};

}  // namespace

Matching match(const FunctionTree& before, const FunctionTree& after) {
  return Matcher(before, after).match();
}

}  // namespace pcicim
