#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/Status.h>
#include <rdx/platform/PropertyLookUp.h>

#include <cstdint>
#include <memory>
#include <string>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// XMLProperties: the library's one way of reading and editing XML documents. It wraps a DOM
/// document with XPath 1.0 selection and a small cursor: the last node list, the current node
/// and a cache of the current node's attributes. Callers walk a document as select-then-read:
///
///   XMLProperties xml;
///   if (xml.init("<Cfg><Port>80</Port></Cfg>") && xml.selectNode("/Cfg/Port", 0))
///     port = xml.getNodeText("3982");  // "80"
///
/// The document is parsed as the Windows DOM does by default: whitespace-only text is
/// dropped, comments are child nodes, a node's text is all of its descendant text joined.
/// `init` takes a file path when such a file exists and XML text otherwise.
///
/// Failures are swallowed: every operation returns a plain value (false, 4294967295, a
/// default or empty string). A failing operation clears the status it keeps (no items, empty
/// default source) rather than filling it; callers tell failure by the return value.
///
/// Copies share the document: an edit made through one copy is seen through every other.
/// The cursor (current node, node list, attribute cache, last XPath) is each copy's own, so
/// selecting in a copy does not move the original. Not synchronised: one thread at a time.
class RDX_API XMLProperties {
 public:
  /// Creates an empty document.
  XMLProperties();
  ~XMLProperties();
  ///@{
  /// Copies the status, attribute cache and last XPath, and shares the document, current node
  /// and node list with `other`.
  XMLProperties(const XMLProperties& other);
  XMLProperties& operator=(const XMLProperties& other);
  ///@}

  /// init: loads `source`, a file when a file or folder of that name exists, XML text
  /// otherwise. "" loads nothing and returns true. On a parse failure returns false and the
  /// document is left empty; the current node and node list of an earlier document are kept.
  bool init(const std::string& source);

  /// close: empties the attribute cache; the document and cursor stay. Always true.
  bool close();

  /// save: writes the document to `path`. False when the file cannot be written.
  bool save(const std::string& path);

  /// selectNode: makes node `index` (from 0) of the node set `xpath` the current node. A new
  /// XPath is queried and bounds-checked; the same XPath as last time reuses the cached list
  /// without a new query or a bounds test, so repeated selects walk one list. False for an
  /// empty or invalid XPath and when no node results; an invalid XPath is still remembered,
  /// with the list cached before it.
  bool selectNode(const std::string& xpath, std::uint32_t index);

  /// getNumNodes: size of the node set `xpath`, which becomes the cached list (the last XPath
  /// is not updated). 4294967295 for an empty or invalid XPath (the cached list then stays).
  std::uint32_t getNumNodes(const std::string& xpath);

  /// getNumChildren: number of child nodes (comments included) of the first node matching
  /// `xpath`, which becomes the current node. The attribute cache is left as it was.
  /// 4294967295 for an empty or invalid XPath (the current node stays) or no match (no current
  /// node then).
  std::uint32_t getNumChildren(const std::string& xpath);

  /// getNodeName: name of the current node ("#text", "#comment", "#document" for those kinds);
  /// "" when there is none.
  std::string getNodeName();

  /// getNodeText: all text under the current node joined; `defaultValue` when that is empty
  /// or there is no current node.
  std::string getNodeText(const std::string& defaultValue);

  /// getNodeContents: the current node's text when its first child is text, its markup when
  /// the first child is anything else (nested elements come back as XML), `defaultValue` when
  /// it has no child or there is no current node.
  std::string getNodeContents(const std::string& defaultValue);

  /// setNodeText: replaces everything under the current node by `text` (escaped when written).
  /// False when there is no current node or it cannot hold text (the document node).
  bool setNodeText(const std::string& text);

  /// getNodeTextFrom: getNodeText(defaultValue) of node 0 of `xpath`; "" (not the default)
  /// when the node cannot be selected.
  std::string getNodeTextFrom(const std::string& xpath, const std::string& defaultValue);

  /// getNodeAsString: the current node serialised as XML without added layout; "" when there
  /// is no current node.
  std::string getNodeAsString();

  /// getAttributes: the current node's attributes in document order. Read once and cached;
  /// the cache is emptied by selectNode, init and close, but not by getNumChildren.
  const PropertyLookUp& getAttributes();

  ///@{
  /// getProperty: always "". setProperty: always false. Kept for callers written against them.
  std::string getProperty(const std::string& name);
  bool setProperty(const std::string& name, const std::string& value);
  ///@}

  /// getStatus: the kept status; cleared by any failure.
  const Status& getStatus() const;

 private:
  friend struct XMLPropertiesTestPeer;
  struct Dom;  ///< the shared document and this object's cursor into it

  /// Records `message` as the last failure and clears the status.
  void Fail(const std::string& message);

  Status status_;
  PropertyLookUp attributes_;  ///< cache of the current node's attributes; empty = not read yet
  std::unique_ptr<Dom> dom_;   ///< never null
  std::string lastXPath_;      ///< the XPath the cached node list was built for by selectNode
};

/// getNodeSetAsLookUp: every node of the node set `xpath`, selected in turn through `xml`, as
/// lookUp[node name] = node text ("" when empty); a later node of the same name (case ignored)
/// overwrites the value of an earlier one, in the earlier one's place. Empty for an empty set
/// or a bad XPath. Moves the cursor of `xml` like selectNode does.
RDX_API PropertyLookUp getNodeSetAsLookUp(XMLProperties& xml, const std::string& xpath);

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
