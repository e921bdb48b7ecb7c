#include "RecordReader.h"

namespace vqkudm::store {

namespace {
// Columns of the rows, after the three leading ones.
enum Column : std::size_t {
  kGroup = 0, kNumber, kUses, kDmid, kCdef, kClass, kLatestRev, kDeleted, kCreatedBy, kCreatedTime,
  kUid, kName, kModifiedBy, kModifiedTime, kComment,
  kAttributeName, kAttributeType, kAttributeText, kAttributeNumber, kBranchFrom
};
}  // namespace

void RecordReader::Add(const vqlm::DbRow& row) {
  auto text = [&](std::size_t column) { return vqString(row.GetText(column)); };
  const bool same = m_current && row.GetText(kUid) == std::string_view(m_current->uid.ToString()) &&
                    (!m_linked || (row.GetInt64(kNumber) == m_linked->back().level &&
                                   row.GetText(kGroup) == std::string_view(m_linked->back().group)));
  if (!same) {
    // The previous record's number of attributes, a good guess for this
    // one's, and room for the column texts its entity will add to them.
    const std::size_t attributes =
        (m_current ? m_current->attributes.size() : 0) + RevisionRecord::kColumnTexts;
    if (m_linked) {
      LinkedRecord& linked = m_linked->emplace_back();
      linked.group = text(kGroup);
      linked.level = static_cast<int>(row.GetInt64(kNumber));
      linked.uses = static_cast<int>(row.GetInt64(kUses));
      m_current = &linked.record;
    } else {
      m_current = &m_records->emplace_back();
    }
    RevisionRecord& r = *m_current;
    r.attributes.reserve(attributes);
    r.uid = UDMUID(text(kUid));
    r.cdef = text(kCdef);
    r.className = text(kClass);
    r.latestRevision = static_cast<int>(row.GetInt64(kLatestRev));
    r.deleted = row.GetInt64(kDeleted) != 0;
    r.createdBy = text(kCreatedBy);
    r.createdTime = text(kCreatedTime);
    r.name = text(kName);
    r.modifiedBy = text(kModifiedBy);
    r.modifiedTime = text(kModifiedTime);
    r.comment = text(kComment);
    r.branchFrom = text(kBranchFrom);
  }
  if (!row.IsNull(kAttributeName)) {
    m_current->attributes.emplace_back(
        text(kAttributeName), DecodeAttribute(row.GetInt64(kAttributeType), row.GetValue(kAttributeText),
                                              row.GetValue(kAttributeNumber)));
  }
}

}  // namespace vqkudm::store
