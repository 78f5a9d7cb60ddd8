// The queries behind each node of the client's model explorer: can the node
// be expanded, is it shown in some diagram, which icon does it carry.
//
// Each query asks an agent of the host, found by its path and run on the
// entity. The host's absence is never an error: a null entity, an entity
// without a model or a missing host agent gives the neutral answer (false or
// -1). Only GetImageIndex catches exceptions of the host; the others let them
// through to the calling agent's catch-all.
//
// Free functions at global namespace, like ConvertIntToString, so that any
// module of the plug-in can ask them.
#ifndef ORVSERVER_MODELVIEWQUERIES_H_
#define ORVSERVER_MODELVIEWQUERIES_H_

#include "host/VelInterfaces.h"

// Paths of the host agents behind the queries.
extern const char kModelViewChildrenAgentPath[];  // "@VELExtensionManagement@GetModelViewChildren"
extern const char kCollectPresentationsAgentPath[];  // "@VELDiagramAgents@CollectPresentations"
extern const char kImageIndexAgentPath[];  // "@VELExtensionManagement@GetImageIndex"

// Runs the host's children agent `childrenAgent` on `entity` and fills
// `children` and `childMetaDefinitions` (cleared first) in parallel: the
// i-th definition belongs to the i-th child, as far as the host keeps them
// parallel. The parameter list is (children, metaDefinition,
// childMetaDefinitions) followed by `extraEntity` only when that is not null;
// `metaDefinition` may be null. Exceptions of the host pass through.
void InvokeModelViewChildrenAgent(qm::IVelModel* model, qm::IVelEntity* childrenAgent, qm::IVelEntity* entity,
                                  qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity,
                                  qm::EntityList& children, qm::EntityList& childMetaDefinitions);

// True when the node of `entity` (shown with `metaDefinition`, may be null)
// has at least one child worth showing: a child whose meta definition is not
// an "Attribute" (whatever the child, null included), or an attribute child
// that has children of its own (asked recursively, with no depth limit and
// no depth limit; null children and null definitions are skipped). False
// when the host reports children and definitions of different number.
// `extraEntity` (may be null) is handed on to the host. The attribute
// levels are asked depth first in the host's order with a work stack on
// the heap, not by recursion, so any depth that memory holds is answered
// on any stack. An entity asked again with the same definition while it is
// still being asked about (a cycle of attribute children, where asking
// would never end) makes the whole query fail, as does running out of
// memory: a failed query answers false, like one without model or host
// agent. Within one query, an (entity, definition) whose attribute children
// all answered no is not asked again, so shared sub-definitions cost one
// host call each.
bool HasEntityChildren(qm::IVelEntity* entity, qm::IVelEntity* metaDefinition, qm::IVelEntity* extraEntity);

// True when at least one presentation element (a symbol or line in some
// diagram) shows `entity`. Without the host's presentation agent, the
// entities that refer to `entity` and are "PresentationElement"s count.
bool HasEntityPresentations(qm::IVelEntity* entity);

// The icon index that the host gives `entity`, or -1. Answers only for a
// null `context` (every caller passes null): any other context gives -1
// without asking the host. An exception while the host answers gives -1; an
// index outside the range of int gives -1 too.
int GetImageIndex(qm::IVelEntity* entity, qm::IVelEntity* context);

#endif  // ORVSERVER_MODELVIEWQUERIES_H_
