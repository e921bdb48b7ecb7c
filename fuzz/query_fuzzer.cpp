// The query language, as a user types it into a search: parsed and checked
// against the schema by the session, compiled to SQL and run on a small
// repository, and evaluated in memory on its items. A syntax or name error
// is a UDMException; anything else that goes wrong is a finding.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <vqkudmrt/UDMCondition.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMQuery.h>
#include <vqkudmrt/UDMQueryResults.h>
#include <vqkudmrt/UDMQuerySettings.h>
#include <vqkudmrt/UDMSession.h>
#include <vqnames/UDMNames.h>

#include "FuzzSupport.h"

using namespace vqkudm;

namespace {

// Never destroyed (FuzzSupport.h).
struct Fixture {
  boost::shared_ptr<UDMSession> session;
  std::vector<UDMItemPtr> items;
};
Fixture* g = nullptr;

// A project using two parts, with attributes of each type the language
// compares, one of them checked in twice, so queries have rows to find.
void Populate() {
  UDMItemPtr rocket = g->session->CreateEntity(kClassProject, "rocket", UDMUID());
  UDMItemPtr fin =
      rocket->AddChild(g->session->CreateEntity(kClassPart, "Fin-A", UDMUID()), "parts");
  UDMItemPtr bolt =
      rocket->AddChild(g->session->CreateEntity(kClassPart, "bolt M6", UDMUID()), "parts");
  fin->SetAttribute("mass", vqVariant(0.5));
  fin->SetAttribute("material", vqVariant("Titanium"));
  bolt->SetAttribute("partnumber", vqVariant("AB-1001"));
  rocket->SetAttribute("owner", vqVariant("alice"));
  rocket->Persist("first", GDM_RECURSE_ALL, -1, false, true);
  fin->CheckOut("");
  fin->SetAttribute("mass", vqVariant(0.75));
  fin->Persist("lighter *release*", GDM_RECURSE_NONE, -1, false, true);
  g->items = {rocket, fin, bolt};
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g = new Fixture;
  g->session = fuzz::OpenRepository("query");
  Populate();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vqString text(reinterpret_cast<const char*>(data), size);
  try {
    g->session->CreateQuery(text, false, 0);
    UDMQuerySettings settings;
    settings.SetIgnoreCase(true);
    settings.AddSortByMetadata("mass", true);
    UDMQueryResults results;
    g->session->QueryPaged(results, text, 0, 10, settings, true, true, false);
  } catch (const UDMException&) {
  }

  vqString expression;
  try {
    const UDMConditionPtr condition = ConditionUtil::FromExpression(text);
    for (const UDMItemPtr& item : g->items) {
      ConditionUtil::IsConditionMet(condition.get(), *item, false);
      ConditionUtil::IsConditionMet(condition.get(), *item, true);
    }
    expression = condition->GetDMExpression();
  } catch (const UDMException&) {
    return 0;
  }
  // What the language writes for a condition must read back as that condition.
  try {
    if (ConditionUtil::FromExpression(expression)->GetDMExpression() != expression) std::abort();
  } catch (const UDMException&) {
    std::abort();
  }
  return 0;
}
