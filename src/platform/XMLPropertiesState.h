#pragma once
// The inside of an XMLProperties: the document it shares with its copies and its own cursor.
// Kept out of the public header so that header shows no XML library; tests reach it through a
// peer.

#include <rdx/platform/XMLProperties.h>

#include "platform/xml/XmlDocument.h"

#include <memory>
#include <string>

namespace QUORVAN::Rendix::GeneralUtilityLib {

// One slot per document, shared by every copy of the XMLProperties that created it. `init`
// puts a new document into the slot, so copies see what any of them loaded; nodes of the
// previous document stay valid for whoever still holds them.
struct DocumentSlot {
  std::shared_ptr<rdx::xml::Document> document = std::make_shared<rdx::xml::Document>();
};

struct XMLProperties::Dom {
  std::shared_ptr<DocumentSlot> slot = std::make_shared<DocumentSlot>();
  rdx::xml::NodeRef current;
  std::shared_ptr<rdx::xml::NodeList> nodeList;
  // The text of the last failure. The status is only cleared on failure, so this is where
  // the reason can still be read (by tests and diagnostics).
  std::string lastFailure;
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
