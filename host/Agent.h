// The agent entry convention: the one function type of every agent, and the
// agents this plug-in exports.
//
// The host loads the plug-in and calls an agent by its unmangled name with
// two arguments of its own (never read by the plug-in), the entity the agent
// runs on, the host's access object and the ordered actual parameters.
// An agent returns nothing and lets no exception escape.
#ifndef HOST_AGENT_H_
#define HOST_AGENT_H_

#include "host/AgentParameter.h"
#include "host/VelInterfaces.h"

#define QM_AGENT_EXPORT __attribute__((visibility("default")))

extern "C" {

typedef void QmAgentFunction(void* hostArgument1, void* hostArgument2, qm::IVelEntity* context,
                             qm::IUnknown* access, qm::AgentParameters& parameters);

// Parameter 1 (text, in and out): overwritten with the property page controls
// of the context entity as JSON.
QM_AGENT_EXPORT QmAgentFunction TransformControlInfoToJason;
// (GUID in, JSON out, error out): the property page controls of an entity.
QM_AGENT_EXPORT QmAgentFunction GetPropertyPageControls;
// (GUID in, JSON out): the links of an entity.
QM_AGENT_EXPORT QmAgentFunction GetNativeLinkInformation;
// (GUID, meta GUID, JSON out, error out[, extra GUID]): model view child nodes.
QM_AGENT_EXPORT QmAgentFunction GetModelViewChildNodes;
// (client JSON, SVG out[, refresh]): a diagram as annotated SVG.
QM_AGENT_EXPORT QmAgentFunction GenerateSVGWithAnnotations;
// (SVG root): the customization hook of the host's SVG generation.
QM_AGENT_EXPORT QmAgentFunction GenerateSVGWithAnnotationsCustomizationAgent;

}  // extern "C"

#endif  // HOST_AGENT_H_
