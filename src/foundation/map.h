#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>

namespace zol {

// Pointers and integers hash to their own value.
template <class K>
struct Hash {
  static_assert(std::is_pointer_v<K> || std::is_integral_v<K>);
  uintptr_t operator()(K key) const {
    if constexpr (std::is_pointer_v<K>)
      return reinterpret_cast<uintptr_t>(key);
    else
      return static_cast<uintptr_t>(key);
  }
};

// Texts hash by content; null hashes as the empty text. The factor 13 is deliberate: the order of
// written files depends on it.
template <>
struct Hash<const char*> {
  constexpr uint32_t operator()(const char* key) const {
    uint32_t h = 0;
    for (; key && *key; ++key) {
      h = (h << 4) + 13u * static_cast<uint32_t>(static_cast<signed char>(*key));
      if (const uint32_t g = h & 0xF0000000u) h = (h ^ g) ^ (g >> 24);
    }
    return h;
  }
};

template <class K>
struct EqualTo {
  bool operator()(K a, K b) const { return a == b; }
};

template <>
struct EqualTo<const char*> {
  bool operator()(const char* a, const char* b) const {
    return a && b ? std::strcmp(a, b) == 0 : a == b;
  }
};

// A chained hash map with a fixed number of buckets, new entries at the front of their chain. Keys
// are kept as given: the map owns neither what a key nor what a value points to.
//
// When there is no memory for the buckets the map stays empty (bucketCount() is 0). Only operator[]
// throws.
//
// Thread safety: concurrent readers are fine.
template <class K, class V, class Hasher, class Equal>
class MapBase {
  struct Link {
    Link* next;
    Link* previous;
  };

public:
  struct Node : private Link {
    K key;
    V value;

  private:
    friend MapBase;
    Node(Link* front, Link* back, K k) : Link{front, back}, key(k), value() {}
  };

  // Bucket by bucket, each from its front.
  template <class N>
  class BasicIterator {
  public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<N>;
    using difference_type = std::ptrdiff_t;
    using pointer = N*;
    using reference = N&;

    BasicIterator() = default;
    reference operator*() const { return *MapBase::node(at); }
    pointer operator->() const { return MapBase::node(at); }
    BasicIterator& operator++() {
      at = at->next;
      skipEmpty();
      return *this;
    }
    BasicIterator operator++(int) {
      BasicIterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const BasicIterator&) const = default;

  private:
    friend MapBase;
    BasicIterator(Link* b, Link* e) : bucket(b), end(e), at(b == e ? nullptr : b->next) {
      skipEmpty();
    }
    void skipEmpty() {
      while (bucket != end && at == bucket)
        at = ++bucket == end ? nullptr : bucket->next;
    }

    Link* bucket = nullptr;
    Link* end = nullptr;
    Link* at = nullptr; // null at the end
  };
  using iterator = BasicIterator<Node>;
  using const_iterator = BasicIterator<const Node>;

  MapBase() : buckets(static_cast<Link*>(std::malloc(BUCKETS * sizeof(Link)))) {
    if (!buckets) return;
    for (size_t i = 0; i < BUCKETS; ++i)
      buckets[i] = {&buckets[i], &buckets[i]};
    bucketTotal = BUCKETS;
  }
  ~MapBase() { release(); }
  MapBase(const MapBase&) = delete;
  MapBase& operator=(const MapBase&) = delete;

  // The value of the key, created as V() when absent; null without memory.
  V* obtain(K key) {
    Node* entry = findNode(key);
    if (!entry) entry = insert(key);
    return entry ? &entry->value : nullptr;
  }
  // The same; without memory a std::bad_alloc.
  V& operator[](K key) {
    if (V* value = obtain(key)) return *value;
    throw std::bad_alloc();
  }

  // Null when absent.
  V* find(K key) const {
    Node* found = findNode(key);
    return found ? &found->value : nullptr;
  }
  Node* findNode(K key) const {
    Link* bucket = bucketOf(key);
    if (!bucket) return nullptr;
    for (Link* link = bucket->next; link != bucket; link = link->next)
      if (Equal()(node(link)->key, key)) return node(link);
    return nullptr;
  }

  // A new entry at the front of its bucket, whether or not the key exists; null without memory.
  Node* insert(K key) {
    Link* bucket = bucketOf(key);
    if (!bucket) return nullptr;
    Node* created = new (std::nothrow) Node(bucket->next, bucket, key);
    if (!created) return nullptr;
    bucket->next->previous = created;
    bucket->next = created;
    ++count;
    return created;
  }

  bool erase(K key) {
    Node* found = findNode(key);
    if (!found) return false;
    remove(found);
    return true;
  }

  void clear() {
    for (size_t i = 0; i < bucketTotal; ++i)
      while (buckets[i].next != &buckets[i])
        remove(node(buckets[i].next));
  }

  // Frees everything: the map has no buckets from then on, look-ups find nothing.
  void release() {
    clear();
    bucketTotal = 0;
    std::free(buckets);
    buckets = nullptr;
  }

  size_t size() const { return count; }
  size_t bucketCount() const { return bucketTotal; }

  iterator begin() { return {buckets, buckets + bucketTotal}; }
  iterator end() { return {buckets + bucketTotal, buckets + bucketTotal}; }
  const_iterator begin() const { return {buckets, buckets + bucketTotal}; }
  const_iterator end() const { return {buckets + bucketTotal, buckets + bucketTotal}; }

private:
  static constexpr size_t BUCKETS = 128;

  static Node* node(Link* link) { return static_cast<Node*>(link); }
  Link* bucketOf(K key) const { return buckets ? &buckets[Hasher()(key) % BUCKETS] : nullptr; }
  void remove(Node* old) {
    old->previous->next = old->next;
    old->next->previous = old->previous;
    --count;
    delete old;
  }

  Link* buckets; // one block; each is the sentinel of a circular list
  size_t bucketTotal = 0;
  size_t count = 0;
};

template <class K, class V>
using Map = MapBase<K, V, Hash<K>, EqualTo<K>>;

} // namespace zol
