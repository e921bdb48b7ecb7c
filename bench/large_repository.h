#pragma once

// A repository of many parts for the growth and memory benchmarks. Parts sit
// under assemblies of 100 uses each, those under assemblies of 100, up to one
// root, so that the children of an assembly and the where-used of a part mean
// the same at every size. One check-in stores one assembly of level 2 with
// its 100 assemblies and their 10,000 parts; the few assemblies above come
// after, one check-in each. The runtime builds it through a session; the
// baseline writes the same rows with the SQLite C API in the same
// transactions.

#include <string>
#include <vector>

#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMUID.h>

struct RepositoryShape {
  static constexpr int kFanOut = 100;

  // `parts`: a multiple of 100, at least 1,000 (two levels of assemblies).
  explicit RepositoryShape(int parts);

  int parts;
  // Assemblies per level, from the parents of the parts up to the root.
  std::vector<int> assemblies;

  int Items() const;
  // Assemblies above a part: the where-used of a part finds one on each.
  int Levels() const { return static_cast<int>(assemblies.size()); }
  // The check-ins that store it.
  int CheckIns() const;
};

// What an item holds; both sides write exactly these values.
struct ItemValues {
  std::string name;
  std::string partnumber;
  std::string status;
  std::string description;
  std::string material;  // empty: none
  double mass = -1;      // negative: none
};
// Part `index` (from 0): its material is one of 100 grades, its mass unique.
ItemValues PartValues(int index);
// Assembly `index` of `level` (1: the parents of parts).
ItemValues AssemblyValues(int level, int index);

// The material of every hundredth part, so 1% of them.
std::string OnePercentMaterial();
// A prefix of the names of exactly ten parts, from the middle of the range.
std::string TenPartsPrefix(const RepositoryShape& shape);

struct BuildResult {
  double seconds = 0;
  int items = 0;
  int checkIns = 0;
};

// Creates and persists the repository through `session`. The identifiers of
// the parts (by index) and of the assemblies of level 1 go to the vectors
// given; null ones are skipped, so a memory measurement holds nothing extra.
BuildResult BuildWithRuntime(vqkudm::IUDMSession& session, const RepositoryShape& shape,
                             std::vector<vqkudm::UDMUID>* parts, std::vector<vqkudm::UDMUID>* assemblies);

// The baseline: the same rows inserted by hand into `file`, which holds the
// repository schema and nothing else. One prepared INSERT per table, the
// transactions and durability of the runtime's check-ins.
BuildResult BuildWithSqlite(const std::string& file, const RepositoryShape& shape);

// The repository's rows summed up per table (counts, distinct values,
// totals), equal for two databases that hold the same items and uses
// whatever their identifiers and times.
std::string SummarizeRows(const std::string& file);
