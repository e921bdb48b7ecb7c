// Identifier and versioned-URL text, as a script or a link hands it over:
// UDMUID's parser and its contract, the session's find by URL and by
// identifier, the profile's handle lookups and the change log's time text.
// Refusals are UDMExceptions; a lookup of text that names nothing finds
// nothing.

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>

#include <vqkudm/UDMProfileExtensions.h>
#include <vqkudm/UDMProfileMgr.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMUID.h>
#include <vqnames/UDMNames.h>

#include "FuzzSupport.h"

using namespace vqkudm;

namespace {

// Never destroyed (FuzzSupport.h).
struct Fixture {
  boost::shared_ptr<UDMSession> session;
  boost::shared_ptr<IUDMProfile> profile;
};
Fixture* g = nullptr;

void Require(bool holds) {
  if (!holds) std::abort();
}

void Refused(const std::function<void()>& action) {
  try {
    action();
  } catch (const UDMException&) {
  }
}

// The documented form: 32 lower-case hex digits, then the revision in
// decimal without sign or leading zeros. Anything else is invalid, and the
// invalid identifier still holds the text.
void CheckIdentifier(const vqString& text) {
  const UDMUID uid(text);
  Require(uid.ToString() == text);
  Require(UDMUID::Validate(text).empty() == uid.IsValid());
  bool parsed = false;
  try {
    Require(UDMUID::Parse(text) == uid);
    parsed = true;
  } catch (const UDMException&) {
  }
  Require(parsed == uid.IsValid());
  if (!uid.IsValid()) {
    Require(uid.GetDmUid().empty() && uid.GetRevision() == -1 && !uid.WithRevision(1).IsValid());
    return;
  }
  Require(uid.GetDmUid().size() == UDMUID::kDmUidLength && uid.GetRevision() >= 0);
  Require(uid.GetDmUid() + vqString::FromInt(uid.GetRevision()) == text);
  if (uid.GetRevision() < INT_MAX) {
    const UDMUID next = uid.WithRevision(uid.GetRevision() + 1);
    Require(next.IsValid() && next.GetDmUid() == uid.GetDmUid() && uid < next && !(next < uid));
  }
  Require(hash_value(UDMUID(text)) == hash_value(uid));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // By URL, so that items have versioned URLs: "/ids/rocket~v0/parts/fin~v1/".
  g = new Fixture;
  g->session = fuzz::OpenRepository("ids", 1);
  UDMItemPtr rocket = g->session->CreateEntity(kClassProject, "rocket", UDMUID());
  UDMItemPtr fin = rocket->AddChild(g->session->CreateEntity(kClassPart, "fin", UDMUID()), "parts");
  rocket->Persist("", GDM_RECURSE_ALL, -1, false, true);
  fin->CheckOut("");
  fin->SetAttribute("mass", vqVariant(0.5));
  fin->Persist("", GDM_RECURSE_NONE, -1, false, true);
  g->profile = UDMProfileMgr::GetProfile(g->session->GetSessionId(), "Core");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vqString text(reinterpret_cast<const char*>(data), size);
  CheckIdentifier(text);
  Refused([&] { g->session->FindItemByUrl(text, false); });
  Refused([&] { g->session->FindItemByUrl(text, true); });
  Refused([&] { g->session->FindItemById(UDMUID(text), true, vqString()); });
  Refused([&] { g->profile->GetUDMItemHandle(text); });
  Refused([&] { g->profile->FindEntityHandleById(text); });
  Refused([&] { g->profile->FindRelationHandleById(text); });
  Refused([&] { UDMProfileExtensions::ChangeSequenceBefore(g->profile, text); });
  return 0;
}
