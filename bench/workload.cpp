#include "workload.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMUID.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/iDbDriver.h>

using namespace vqkudm;

boost::shared_ptr<IUDMSession> OpenBenchSession(const std::string& baseDir) {
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetRepositoryBaseDir(baseDir);
  config->SetRepositoryName("bench");
  config->SetUserName("bench");
  return UDMFramework::GetInstance()->CreateSession(config);
}

void CreateAndPersistParts(IUDMSession& session, int count) {
  UDMItemPtr project = session.CreateEntity(kClassProject, "bench", UDMUID());
  for (int i = 0; i < count; ++i) {
    UDMItemPtr part = session.CreateEntity(kClassPart, "part-" + std::to_string(i), UDMUID());
    part->SetAttribute("material", vqVariant("steel"));
    part->SetAttribute("mass", vqVariant(1.5 + i));
    part->SetAttribute("partnumber", vqVariant("PN-" + std::to_string(i)));
    part->SetAttribute("status", vqVariant("released"));
    part->SetAttribute("description", vqVariant("benchmark part"));
    project->AddChild(part, "parts");
  }
  project->Persist("bench", GDM_RECURSE_ALL, -1, false, true);
}

std::vector<TableRows> MakePartRows(int count) {
  TableRows entity{"udm_entity", {"dmid", "cdef", "class", "latest_rev", "deleted", "created_by", "created_time"}, {}};
  TableRows revision{"udm_revision", {"uid", "dmid", "revision", "name", "modified_by", "modified_time", "comment"}, {}};
  TableRows attribute{"udm_attribute", {"uid", "name", "type", "text_value", "num_value"}, {}};
  TableRows link{"udm_link", {"parent_dmid", "use_id", "grp", "child_dmid", "from_rev", "position", "attrs"}, {}};
  TableRows change{"udm_change", {"session_id", "op", "uid", "change_time"}, {}};
  const UDMUID project = UDMUID::Generate();
  const vqString now = UDMSession::Now();
  entity.rows.push_back({project.GetDmUid(), kClassProject, kClassItem, vqVariant(0), vqVariant(0), "bench", now});
  revision.rows.push_back({project.ToString(), project.GetDmUid(), vqVariant(0), "bench", "bench", now, "bench"});
  change.rows.push_back({"bench", vqVariant(10), project.ToString(), now});
  for (int i = 0; i < count; ++i) {
    const UDMUID uid = UDMUID::Generate();
    const vqString id = uid.ToString();
    entity.rows.push_back({uid.GetDmUid(), kClassPart, kClassItem, vqVariant(0), vqVariant(0), "bench", now});
    revision.rows.push_back({id, uid.GetDmUid(), vqVariant(0), "part-" + std::to_string(i), "bench", now, "bench"});
    attribute.rows.push_back({id, "material", vqVariant(5), "steel", vqVariant()});
    attribute.rows.push_back({id, "mass", vqVariant(4), vqString::FromDouble(1.5 + i), vqVariant(1.5 + i)});
    attribute.rows.push_back({id, "partnumber", vqVariant(5), "PN-" + std::to_string(i), vqVariant()});
    attribute.rows.push_back({id, "status", vqVariant(5), "released", vqVariant()});
    attribute.rows.push_back({id, "description", vqVariant(5), "benchmark part", vqVariant()});
    attribute.rows.push_back({id, "unit", vqVariant(5), "each", vqVariant()});
    change.rows.push_back({"bench", vqVariant(10), id, now});
    // Each use keeps its attributes as one text: here the quantity's default.
    link.rows.push_back({project.GetDmUid(), UDMUID::Generate().GetDmUid(), "parts", uid.GetDmUid(), vqVariant(0),
                         vqVariant(i), R"({"quantity":[4,"1",1.0]})"});
  }
  return {entity, revision, attribute, link, change};
}

void InsertRowsRaw(vqlm::iDbDriver& db, const std::vector<TableRows>& tables) {
  db.BeginTransaction();
  for (const TableRows& table : tables) {
    vqString sql = vqString("INSERT INTO ") + table.table + " (";
    vqString marks;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      sql += (i ? "," : "") + table.columns[i];
      marks += i ? ",?" : "?";
    }
    std::unique_ptr<vqlm::iDbStatement> insert;
    if (!db.Prepare(sql + ") VALUES (" + marks + ")", insert)) std::abort();
    for (const auto& row : table.rows) {
      insert->BindAll(row);
      if (!insert->Execute()) std::abort();
    }
  }
  db.Commit();
}

void BM_CreateAndPersistPartsRaw(benchmark::State& state) {
  namespace fs = std::filesystem;
  const int count = static_cast<int>(state.range(0));
  const fs::path dir = fs::temp_directory_path() / ("udm-bench-raw-" + std::to_string(::getpid()));
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove_all(dir);
    fs::create_directories(dir);
    std::shared_ptr<vqlm::iDbDriver> db = store::OpenRepositoryDatabase("sqlite", (dir / "raw.db").string());
    state.ResumeTiming();

    InsertRowsRaw(*db, MakePartRows(count));

    state.PauseTiming();
    db.reset();
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}
