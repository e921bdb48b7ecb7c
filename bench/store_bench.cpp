// Creating and persisting many items: the runtime against inserting the same
// rows with prepared statements in one raw SQLite transaction.

#include <benchmark/benchmark.h>

#include <filesystem>

#include <boost/make_shared.hpp>

#include <vqkudm/UDMNames.h>
#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "ratio_reporter.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

fs::path FreshDirectory() {
  const fs::path dir = fs::temp_directory_path() / ("udm-bench-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

boost::shared_ptr<IUDMSession> OpenSession(const fs::path& dir) {
  auto config = boost::make_shared<UDMSessionConfig>();
  config->SetRepositoryBaseDir(dir.string());
  config->SetRepositoryName("bench");
  config->SetUserName("bench");
  return UDMFramework::GetInstance()->CreateSession(config);
}

void BM_CreateAndPersistItems_runtime(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path dir = FreshDirectory();
    boost::shared_ptr<IUDMSession> session = OpenSession(dir);
    state.ResumeTiming();

    UDMItemPtr project = session->CreateEntity(kClassProject, "bench", UDMUID());
    for (int i = 0; i < count; ++i) {
      UDMItemPtr part = session->CreateEntity(kClassPart, "part-" + std::to_string(i), UDMUID());
      part->SetAttribute("material", vqVariant("steel"));
      part->SetAttribute("mass", vqVariant(1.5 + i));
      part->SetAttribute("partnumber", vqVariant("PN-" + std::to_string(i)));
      part->SetAttribute("status", vqVariant("released"));
      part->SetAttribute("description", vqVariant("benchmark part"));
      project->AddChild(part, "parts");
    }
    project->Persist("bench", GDM_RECURSE_ALL, -1, false, true);

    state.PauseTiming();
    UDMFramework::GetInstance()->DeleteSession(session);
    session.reset();
    project.reset();
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void Exec(vqlm::iDbDriver& db, std::unique_ptr<vqlm::iDbStatement>& statement,
          const vqStlVector<vqVariant>& values) {
  statement->BindAll(values);
  if (!statement->Execute()) std::abort();
}

void BM_CreateAndPersistItems_baseline(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path dir = FreshDirectory();
    std::shared_ptr<vqlm::iDbDriver> db =
        store::OpenRepositoryDatabase("sqlite", (dir / "raw.db").string());
    std::unique_ptr<vqlm::iDbStatement> entity, revision, attribute, link;
    db->Prepare("INSERT INTO udm_entity (dmid, cdef, class, latest_rev, deleted, created_by, created_time)"
                " VALUES (?, ?, ?, ?, ?, ?, ?)", entity);
    db->Prepare("INSERT INTO udm_revision (uid, dmid, revision, name, modified_by, modified_time, comment)"
                " VALUES (?, ?, ?, ?, ?, ?, ?)", revision);
    db->Prepare("INSERT INTO udm_attribute (uid, name, type, text_value, num_value) VALUES (?, ?, ?, ?, ?)",
                attribute);
    db->Prepare("INSERT INTO udm_link (parent_dmid, grp, child_dmid, from_rev, position) VALUES (?, ?, ?, ?, ?)",
                link);
    state.ResumeTiming();

    db->BeginTransaction();
    const UDMUID projectUid = UDMUID::Generate();
    const vqString now = UDMSession::Now();
    Exec(*db, entity, {projectUid.GetDmUid(), kClassProject, kClassItem, vqVariant(0), vqVariant(0), "bench", now});
    Exec(*db, revision, {projectUid.ToString(), projectUid.GetDmUid(), vqVariant(0), "bench", "bench", now, "bench"});
    for (int i = 0; i < count; ++i) {
      const UDMUID uid = UDMUID::Generate();
      const vqString id = uid.ToString();
      Exec(*db, entity, {uid.GetDmUid(), kClassPart, kClassItem, vqVariant(0), vqVariant(0), "bench", now});
      Exec(*db, revision, {id, uid.GetDmUid(), vqVariant(0), "part-" + std::to_string(i), "bench", now, "bench"});
      Exec(*db, attribute, {id, "material", vqVariant(5), "steel", vqVariant()});
      Exec(*db, attribute, {id, "mass", vqVariant(4), vqString::FromDouble(1.5 + i), vqVariant(1.5 + i)});
      Exec(*db, attribute, {id, "partnumber", vqVariant(5), "PN-" + std::to_string(i), vqVariant()});
      Exec(*db, attribute, {id, "status", vqVariant(5), "released", vqVariant()});
      Exec(*db, attribute, {id, "description", vqVariant(5), "benchmark part", vqVariant()});
      Exec(*db, link, {projectUid.GetDmUid(), "parts", uid.GetDmUid(), vqVariant(0), vqVariant(i)});
    }
    db->Commit();

    state.PauseTiming();
    entity.reset();
    revision.reset();
    attribute.reset();
    link.reset();
    db.reset();
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

}  // namespace

BENCHMARK(BM_CreateAndPersistItems_runtime)->Name("CreateAndPersistItems/runtime")->Arg(100000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_CreateAndPersistItems_baseline)->Name("CreateAndPersistItems/baseline")->Arg(100000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv) { return RunBenchmarksWithRatios(argc, argv); }
