// The change feed of UDMProfileExtensions: the repository's change log as a
// process that follows the repository reads it.

#include <vqkudm/UDMProfileExtensions.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <regex>
#include <string>
#include <thread>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMRelation.h>
#include <vqkudmrt/UDMSession.h>
#include <vqkudmrt/UDMUpdateWrapper.h>
#include <vqlmidbdriver/iDbDriver.h>

#include "../foundation/SignatureText.h"
#include "ExtensionSession.h"

namespace vqkudm {

namespace {

#define VQ_T_PROFILE_CREF "const " VQ_T_SHARED("class vqkudm::IUDMProfile") " &"

// Without notifications the log is read again this often: a local file
// answers at once, and a change still shows within a fraction of a second.
constexpr int kPollMs = 200;
// The longest stretch of waiting between two questions to `stop`.
constexpr int kStopSliceMs = 250;


// An ISO 8601 time in the log's form (UTC, milliseconds); false for text
// that is none, or names a day or hour that does not exist.
bool LogTime(const std::string& text, vqString& out) {
  static const std::regex kIso(
      R"(^(\d{4})-(\d{2})-(\d{2})(?:[T ](\d{2}):(\d{2})(?::(\d{2})(?:[.,](\d+))?)?)?(Z|[+-]\d{2}:?\d{2})?$)");
  std::smatch part;
  if (!std::regex_match(text, part, kIso)) return false;
  auto number = [&](int index) { return part[index].matched ? std::stoi(part[index].str()) : 0; };
  std::tm fields{};
  fields.tm_year = number(1) - 1900;
  fields.tm_mon = number(2) - 1;
  fields.tm_mday = number(3);
  fields.tm_hour = number(4);
  fields.tm_min = number(5);
  fields.tm_sec = number(6);
  if (fields.tm_hour > 23 || fields.tm_min > 59 || fields.tm_sec > 59) return false;
  std::tm normalised = fields;
  std::int64_t seconds = timegm(&normalised);
  // timegm carries 31 February into March: such a day is refused.
  if (normalised.tm_mday != fields.tm_mday || normalised.tm_mon != fields.tm_mon) return false;
  const std::string zone = part[8].str();
  if (!zone.empty() && zone != "Z") {
    const int hours = std::stoi(zone.substr(1, 2));
    const int minutes = std::stoi(zone.substr(zone.size() - 2));
    if (hours > 23 || minutes > 59) return false;
    const int offset = (hours * 60 + minutes) * 60;
    seconds += zone[0] == '+' ? -offset : offset;
  }
  const std::string fraction = (part[7].str() + "000").substr(0, 3);
  out = UDMSession::FormatTime(seconds, std::stoi(fraction));
  return true;
}

UDMLoggedChange Describe(UDMSession& session, const UDMSession::LoggedChange& change) {
  UDMLoggedChange entry;
  entry.sequence = change.sequence;
  entry.time = change.time;
  entry.sessionId = change.sessionId;
  entry.kind = SignalOptionName(change.op);
  entry.itemId = change.uid.ToString();
  entry.childId = change.childUid;
  entry.revision = change.uid.IsValid() ? change.uid.GetRevision() : 0;
  // Gone since (obliterated), or of a kind the other lookup refuses: then
  // the identifier is what the log still knows.
  try {
    if (boost::shared_ptr<UDMItem> item = session.FindItemById(change.uid, true, vqString())) {
      entry.resolved = true;
      entry.name = item->GetDisplayName();
      entry.cdef = item->GetContentDefinitionType();
      if (change.op == SIGNAL_PERSISTED) entry.user = item->GetModifiedBy();
      return entry;
    }
  } catch (const UDMException&) {
  }
  try {
    if (boost::shared_ptr<UDMRelation> relation = session.FindRelationById(change.uid)) {
      entry.resolved = true;
      entry.name = relation->GetDisplayName();
      entry.cdef = relation->GetContentDefinitionType();
      if (change.op == SIGNAL_CREATED || change.op == SIGNAL_PERSISTED) entry.user = relation->GetCreatedBy();
    }
  } catch (const UDMException&) {
  }
  return entry;
}

}  // namespace

std::int64_t UDMProfileExtensions::LastChangeSequence(const boost::shared_ptr<IUDMProfile>& profile) {
  static const char* const kSignature =
      VQ_SIG("__int64", "UDMProfileExtensions", "LastChangeSequence(" VQ_T_PROFILE_CREF ")");
  return SessionOf(kSignature, profile)->LastChangeSequence();
}

std::int64_t UDMProfileExtensions::ChangeSequenceBefore(const boost::shared_ptr<IUDMProfile>& profile,
                                                        const vqString& time) {
  static const char* const kSignature = VQ_SIG(
      "__int64", "UDMProfileExtensions", "ChangeSequenceBefore(" VQ_T_PROFILE_CREF "," VQ_T_STRING_CREF ")");
  boost::shared_ptr<UDMSession> session = SessionOf(kSignature, profile);
  vqString logTime;
  if (!LogTime(time.str(), logTime)) {
    ThrowInvalidArgException(kSignature,
                             "\"" + time + "\" is no time; give one as 2026-11-24T05:00:00Z (UTC) or with an offset",
                             ExcSubGeneral);
  }
  return session->ChangeSequenceBefore(logTime);
}

void UDMProfileExtensions::ChangesAfter(const boost::shared_ptr<IUDMProfile>& profile, std::int64_t afterSequence,
                                        int timeoutMs, vqStlVector<UDMLoggedChange>& out,
                                        const std::function<bool()>& stop) {
  static const char* const kSignature =
      VQ_SIG("void", "UDMProfileExtensions",
             "ChangesAfter(" VQ_T_PROFILE_CREF ",__int64,int,class vqStlVector<struct vqkudm::UDMLoggedChange> &,"
             "const class std::function<bool __cdecl(void)> &)");
  boost::shared_ptr<UDMSession> session = SessionOf(kSignature, profile);
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
  vqStlVector<UDMSession::LoggedChange> found;
  // With no time to wait the engine listens (where the database notifies)
  // before it reads, so nothing committed after this read goes unheard.
  session->WaitForChangesOfOthers(afterSequence, 0, found);
  vqlm::iDbDriver& database = session->Database();
  const bool notifies = database.HasNotifications();
  while (found.empty()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0 || (stop && stop())) break;
    if (notifies) {
      vqStlVector<vqString> payloads;
      const vqlm::DbStatus status =
          database.WaitForNotification(static_cast<int>(std::min<long long>(left, kStopSliceMs)), payloads);
      if (!status) ThrowStateException(kSignature, "waiting for changes failed: " + status.GetText(), ExcSubDatabase);
      if (payloads.empty()) continue;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, kPollMs)));
    }
    session->ReadChangesOfOthers(afterSequence, found);
  }
  for (const UDMSession::LoggedChange& change : found) out.push_back(Describe(*session, change));
  // A follower runs for long: the revisions it looked up need not stay.
  session->ReleaseCache();
}

}  // namespace vqkudm
