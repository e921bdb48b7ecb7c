// The profile's hot paths: building and checking in a product through item
// handles, and reading attributes through handles whose entities the
// session has dropped, each against the same work on raw SQLite.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>

#include <vqnames/UDMNames.h>
#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "ratio_reporter.h"
#include "profile_workload.h"
#include "workload.h"

using namespace vqkudm;
namespace fs = std::filesystem;

namespace {

void BM_ProfileCreateAndPersist_runtime(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    const fs::path dir = FreshProfileDirectory("create");
    boost::shared_ptr<IUDMProfile> profile = OpenBenchProfile(dir);
    state.ResumeTiming();

    CreateAndPersistThroughProfile(*profile, count);

    state.PauseTiming();
    UDMProfileMgr::DiscardProfile(profile);
    fs::remove_all(dir);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

// Handles on 1,000 stored parts, and the same repository opened raw.
struct HandleFixture {
  static constexpr int kParts = 1000;
  fs::path dir = FreshProfileDirectory("read");
  boost::shared_ptr<IUDMProfile> profile = OpenBenchProfile(dir);
  std::vector<UDMItemHandle> parts;
  std::shared_ptr<vqlm::iDbDriver> raw;

  HandleFixture() {
    CreateAndPersistThroughProfile(*profile, kParts);
    vqStlVector<UDMItemHandle> found;
    profile->QueryEntities(found, "cdef = 'UDMPart'", UDMQuerySettingHandle(), false, false);
    parts.assign(found.begin(), found.end());
    raw = store::OpenRepositoryDatabase("sqlite", (dir / "bench" / "repository.db").string());
  }
  ~HandleFixture() {
    raw.reset();
    UDMProfileMgr::DiscardProfile(profile);
    fs::remove_all(dir);
  }
};

HandleFixture& Handles() {
  static HandleFixture fixture;
  return fixture;
}

void BM_ReadThroughDroppedHandles_runtime(benchmark::State& state) {
  HandleFixture& f = Handles();
  UDMSession& session = dynamic_cast<UDMSession&>(
      *UDMFramework::GetInstance()->FindSession(f.profile->GetSessionId()));
  for (auto _ : state) {
    state.PauseTiming();
    session.ReleaseCache();
    state.ResumeTiming();
    for (const UDMItemHandle& part : f.parts) benchmark::DoNotOptimize(part.GetAttributeValue("partnumber"));
  }
  state.SetItemsProcessed(state.iterations() * HandleFixture::kParts);
}

// Loading each part as the session does: its head row and its attributes.
void BM_ReadThroughDroppedHandles_baseline(benchmark::State& state) {
  HandleFixture& f = Handles();
  std::unique_ptr<vqlm::iDbStatement> head, attributes;
  f.raw->Prepare("SELECT e.cdef, r.name FROM udm_revision r JOIN udm_entity e ON e.dmid = r.dmid WHERE r.uid = ?",
                 head);
  f.raw->Prepare("SELECT name, type, text_value, num_value FROM udm_attribute WHERE uid = ?", attributes);
  std::vector<vqString> ids;
  for (const UDMItemHandle& part : f.parts) ids.push_back(part.GetUID());
  vqlm::ResultSet rows;
  for (auto _ : state) {
    for (const vqString& id : ids) {
      head->Bind(1, id);
      head->Query(rows);
      attributes->Bind(1, id);
      attributes->Query(rows);
    }
  }
  state.SetItemsProcessed(state.iterations() * HandleFixture::kParts);
}

}  // namespace

BENCHMARK(BM_ProfileCreateAndPersist_runtime)->Name("ProfileCreateAndPersist/runtime")->Arg(20000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_CreateAndPersistPartsRaw)->Name("ProfileCreateAndPersist/baseline")->Arg(20000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_ReadThroughDroppedHandles_runtime)->Name("ReadThroughDroppedHandles/runtime")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadThroughDroppedHandles_baseline)->Name("ReadThroughDroppedHandles/baseline")
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) { return RunBenchmarksWithRatios(argc, argv); }
