#pragma once

// A query text parsed and checked against a session's schema, ready to run.

#include <memory>

#include <vqkudmrt/vqkudmrtApi.h>
#include <vqutl/vqString.h>

namespace vqkudm {

namespace query {
struct Node;
}

class VQKUDMRT_API UDMQuery {
 public:
  UDMQuery(const vqString& text, bool searchInExcluded, std::shared_ptr<const query::Node> node)
      : m_text(text), m_searchInExcluded(searchInExcluded), m_node(std::move(node)) {}

  const vqString& GetQueryText() const { return m_text; }
  bool GetSearchInExcluded() const { return m_searchInExcluded; }
  // Runtime use: the parsed condition; null when the text is empty (everything).
  const std::shared_ptr<const query::Node>& GetNode() const { return m_node; }

 private:
  vqString m_text;
  bool m_searchInExcluded;
  std::shared_ptr<const query::Node> m_node;
};

}  // namespace vqkudm
