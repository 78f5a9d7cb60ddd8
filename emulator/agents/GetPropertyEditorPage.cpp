// Host agent "@VELExtensionManagement@GetPropertyEditorPage": writes the
// ControlInfo text of the property page of the entity it runs on into its
// first parameter.
//
// Parameters: 1 text (out: the page), 2 interface, 3 entity list. Only the
// first is used; the others may be absent, so that a caller can hand on a
// list holding the text parameter alone. Those that are there must be of
// these kinds, in this order: a list of another shape (two parameters
// swapped, a text where the interface belongs, a fourth parameter) is
// refused with a message in the model's messages, and nothing is written.
//
// The page is the entity's "PropertyPage" value. An entity without one gets
// a generated page with a single edit box showing its name:
//   { ControlInfo(. control = EditBox(. text = "Name", 'value' = "<name>" .), children = { } .) }
// where the name is written as a ControlInfo string (double quotes and
// backslashes escaped, every other byte as it is).
#include <string>
#include <vector>

#include "emulator/HostAgentCall.h"

namespace {

const char kPath[] = "@VELExtensionManagement@GetPropertyEditorPage";

// `text` as the contents of a double-quoted ControlInfo string.
std::string QuoteForPage(const std::string& text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  for (char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted;
}

std::string PageOf(const qmemu::Entity& entity) {
  if (entity.hasValue("PropertyPage")) return entity.value("PropertyPage");
  return "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"" + QuoteForPage(entity.name()) +
         "\" .), children = { } .) }";
}

void GetPropertyEditorPage(qmemu::HostAgentCall& call) {
  if (!qmemu::AcceptCall(call, kPath) || call.context == nullptr) return;
  qmemu::SetTextAt(call.parameters, 1, PageOf(*call.context));
}

const qmemu::HostAgentRegistration kRegistration{kPath, GetPropertyEditorPage};

}  // namespace
