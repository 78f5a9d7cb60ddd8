// The agent GetNativeLinkInformation: (GUID in, JSON out).
//
// Answers the client's request for the links of the element with the given
// GUID with the JSON of EncodeLinkInformationInJason, or "" when the GUID
// names no element or the element has no links. With any other number of
// parameters than two, or without a model, it writes nothing at all. The
// result is written once, at the end; an exception on the way is swallowed
// and leaves the output parameter as it was.
#include <string>

#include "Links/LinkInformation.h"
#include "OrvServer/AgentFrame.h"
#include "host/Agent.h"

namespace {

// Parameter positions.
const std::size_t kGuid = 1;
const std::size_t kResult = 2;

void AnswerLinkInformation(qm::IVelEntity* context, qm::AgentParameters& parameters) {
  if (orv::CountParameters(parameters) != 2) return;
  qm::IVelModel* model = orv::ModelOf(context);
  if (model == nullptr) return;
  const std::string guid = orv::ReadText(parameters, kGuid);
  std::string result;
  qm::IVelEntity* element = model->FindEntity(guid);
  if (element != nullptr) {
    // The flags matter to the diagram markers only; the client reads the text.
    bool outgoingHyperlinks, incomingHyperlinks, outgoingDependencies, incomingDependencies;
    EncodeLinkInformationInJason(element, result, outgoingHyperlinks, incomingHyperlinks, outgoingDependencies,
                                 incomingDependencies);
  }
  orv::WriteText(parameters, kResult, result);
}

}  // namespace

extern "C" void GetNativeLinkInformation(void*, void*, qm::IVelEntity* context, qm::IUnknown*,
                                         qm::AgentParameters& parameters) {
  try {
    AnswerLinkInformation(context, parameters);
  } catch (...) {
    // Nothing leaves an agent; the output parameter keeps what it held.
  }
}
