#pragma once

// Container types used in every public signature. They are the standard
// containers under names of their own, so signatures stay stable and callers
// can pass and receive standard containers without copies.

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

template <class T, class Alloc = std::allocator<T>>
class vqStlVector : public std::vector<T, Alloc> {
 public:
  using std::vector<T, Alloc>::vector;
  vqStlVector() = default;
  vqStlVector(const std::vector<T, Alloc>& other) : std::vector<T, Alloc>(other) {}
  vqStlVector(std::vector<T, Alloc>&& other) noexcept : std::vector<T, Alloc>(std::move(other)) {}
};

template <class K, class V, class Compare = std::less<K>,
          class Alloc = std::allocator<std::pair<const K, V>>>
class vqStlMap : public std::map<K, V, Compare, Alloc> {
 public:
  using std::map<K, V, Compare, Alloc>::map;
  vqStlMap() = default;
  vqStlMap(const std::map<K, V, Compare, Alloc>& other) : std::map<K, V, Compare, Alloc>(other) {}
  vqStlMap(std::map<K, V, Compare, Alloc>&& other) noexcept
      : std::map<K, V, Compare, Alloc>(std::move(other)) {}
};

template <class T, class Compare = std::less<T>, class Alloc = std::allocator<T>>
class vqStlSet : public std::set<T, Compare, Alloc> {
 public:
  using std::set<T, Compare, Alloc>::set;
  vqStlSet() = default;
  vqStlSet(const std::set<T, Compare, Alloc>& other) : std::set<T, Compare, Alloc>(other) {}
  vqStlSet(std::set<T, Compare, Alloc>&& other) noexcept
      : std::set<T, Compare, Alloc>(std::move(other)) {}
};
