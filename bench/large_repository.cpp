#include "large_repository.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMItem.h>

#include "sqlite_raw.h"

using namespace vqkudm;

RepositoryShape::RepositoryShape(int count) : parts(count) {
  if (parts < 1000 || parts % kFanOut != 0) {
    std::fprintf(stderr, "a repository needs a multiple of 100 parts, at least 1,000 (not %d)\n", parts);
    std::exit(2);
  }
  int below = parts;
  do {
    below = (below + kFanOut - 1) / kFanOut;
    assemblies.push_back(below);
  } while (below > 1);
}

int RepositoryShape::Items() const {
  int items = parts;
  for (int count : assemblies) items += count;
  return items;
}

int RepositoryShape::CheckIns() const {
  int checkIns = 0;
  for (std::size_t level = 1; level < assemblies.size(); ++level) checkIns += assemblies[level];
  return checkIns;
}

namespace {

std::string Number(const char* format, int value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

double Since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Describe(UDMItem& item, const ItemValues& values) {
  item.SetAttribute("partnumber", vqVariant(values.partnumber));
  item.SetAttribute("status", vqVariant(values.status));
  item.SetAttribute("description", vqVariant(values.description));
  if (!values.material.empty()) item.SetAttribute("material", vqVariant(values.material));
  if (values.mass >= 0) item.SetAttribute("mass", vqVariant(values.mass));
}

UDMItemPtr Create(IUDMSession& session, const ItemValues& values) {
  UDMItemPtr item = session.CreateEntity(kClassPart, values.name, UDMUID());
  Describe(*item, values);
  return item;
}

}  // namespace

ItemValues PartValues(int index) {
  ItemValues values;
  values.name = Number("PRT-%07d", index);
  values.partnumber = Number("PN-%07d", index);
  values.status = "released";
  values.description = "benchmark part";
  values.material = Number("grade-%02d", index % 100);
  values.mass = 0.001 * (index + 1);
  return values;
}

ItemValues AssemblyValues(int level, int index) {
  ItemValues values;
  values.name = Number("ASM%d", level) + Number("-%06d", index);
  values.partnumber = Number("PN-A%d", level) + Number("-%06d", index);
  values.status = "in work";
  values.description = "benchmark assembly";
  return values;
}

std::string OnePercentMaterial() { return "grade-42"; }

std::string TenPartsPrefix(const RepositoryShape& shape) {
  const std::string middle = PartValues(shape.parts / 2 / 10 * 10).name;
  return middle.substr(0, middle.size() - 1);
}

BuildResult BuildWithRuntime(IUDMSession& session, const RepositoryShape& shape, std::vector<UDMUID>* parts,
                             std::vector<UDMUID>* assemblies) {
  const int fan = RepositoryShape::kFanOut;
  const auto start = std::chrono::steady_clock::now();
  BuildResult result;
  std::vector<UDMUID> below;
  for (int top = 0; top < shape.assemblies[1]; ++top) {
    UDMItemPtr root = Create(session, AssemblyValues(2, top));
    for (int a = top * fan; a < std::min(shape.assemblies[0], (top + 1) * fan); ++a) {
      UDMItemPtr assembly = Create(session, AssemblyValues(1, a));
      for (int p = a * fan; p < std::min(shape.parts, (a + 1) * fan); ++p) {
        UDMItemPtr part = Create(session, PartValues(p));
        assembly->AddChild(part, "parts");
        if (parts) parts->push_back(part->GetUID());
      }
      root->AddChild(assembly, "parts");
      if (assemblies) assemblies->push_back(assembly->GetUID());
    }
    root->Persist("bench", GDM_RECURSE_ALL, -1, false, true);
    below.push_back(root->GetUID());
    ++result.checkIns;
  }
  for (std::size_t level = 2; level < shape.assemblies.size(); ++level) {
    std::vector<UDMUID> above;
    for (int a = 0; a < shape.assemblies[level]; ++a) {
      UDMItemPtr assembly = Create(session, AssemblyValues(static_cast<int>(level) + 1, a));
      for (std::size_t c = static_cast<std::size_t>(a) * fan; c < std::min(below.size(), std::size_t(a + 1) * fan); ++c) {
        assembly->AddChild(session.FindItemById(below[c], true, ""), "parts");
      }
      assembly->Persist("bench", GDM_RECURSE_ALL, -1, false, true);
      above.push_back(assembly->GetUID());
      ++result.checkIns;
    }
    below.swap(above);
  }
  result.seconds = Since(start);
  result.items = shape.Items();
  return result;
}

std::string SummarizeRows(const std::string& file) {
  RawSqlite db(file, true);
  std::string text;
  for (const char* sql : {
           "SELECT 'entity', cdef, class, latest_rev, deleted, created_by, branch_from IS NULL, count(*)"
           " FROM udm_entity GROUP BY 2, 3, 4, 5, 6, 7",
           "SELECT 'revision', revision, state, modified_by, comment, count(*), count(DISTINCT name), min(name),"
           " max(name) FROM udm_revision GROUP BY 2, 3, 4, 5",
           "SELECT 'attribute', name, type, count(*), count(DISTINCT text_value), min(text_value), max(text_value),"
           " total(num_value) FROM udm_attribute GROUP BY 2, 3",
           "SELECT 'link', grp, from_rev, to_rev, attrs, count(*), count(DISTINCT use_id), sum(position)"
           " FROM udm_link GROUP BY 2, 3, 4, 5",
           "SELECT 'use', substr(p.name, 1, 4), substr(c.name, 1, 4), count(*), min(p.name || '>' || c.name),"
           " max(p.name || '>' || c.name) FROM udm_link l JOIN udm_revision p ON p.dmid = l.parent_dmid"
           " JOIN udm_revision c ON c.dmid = l.child_dmid GROUP BY 2, 3",
           "SELECT 'change', op, url, attr_name, attr_value, child_uid, count(*), count(DISTINCT uid)"
           " FROM udm_change GROUP BY 2, 3, 4, 5, 6",
           "SELECT 'other', (SELECT count(*) FROM udm_lock), (SELECT count(*) FROM udm_draft),"
           " (SELECT count(*) FROM udm_file), (SELECT count(*) FROM udm_reference),"
           " (SELECT count(*) FROM udm_classified), (SELECT count(*) FROM udm_relation)"}) {
    text += db.Summary(sql);
  }
  return text;
}
