// The link applications of one model, gathered once for many link questions.
//
// Answering one element's links walks every application of the
// externalObjectReference stereotype (once per direction) and of the
// hyperlink stereotype in the whole model (see LinkCollection.h). The SVG
// annotation asks that for every element of a diagram, which made the
// annotation of a large diagram quadratic. A CLinkGathering makes those walks
// once, in the same order, and files what each application names under the
// GUID it names; the collectors that take a gathering then look an element's
// GUID up instead of walking.
//
// Why the answers are the same: what the walks find for an element depends
// only on each application (its meta class, its owner, the owner's external
// reference, the hyperlink's URL) and on the element's GUID, compared for
// equality. The gathering computes the application side with the same host
// operations, once, and keeps one entry per matching application in walk
// order, so a lookup yields exactly the list the walk would have built, as
// long as the model's links do not change in between. The annotation only
// adds to the SVG tree, so that holds for the duration of one annotation.
//
// Lifetime: made and destroyed within one agent call; it holds borrowed host
// pointers that are only valid inside that call. It owns its tables; nothing
// of it is global or per thread. Host exceptions, and std::bad_alloc, thrown
// while gathering pass through the constructor to the caller.
#ifndef LINKS_LINKGATHERING_H_
#define LINKS_LINKGATHERING_H_

#include <string>
#include <unordered_map>
#include <vector>

#include "host/VelInterfaces.h"

class CLinkGathering {
 public:
  // Walks the applications of "@Predefined@externalObjectReference" and
  // "@VELLinks@HYPERLINK" in `model` (a null model, or a missing stereotype,
  // gathers nothing of that kind).
  explicit CLinkGathering(qm::IVelModel* model);

  CLinkGathering(const CLinkGathering&) = delete;
  CLinkGathering& operator=(const CLinkGathering&) = delete;

  // True when the gathering was made from `model` (not null): only then may
  // it answer for an element of that model.
  bool Covers(qm::IVelModel* model) const { return model != nullptr && model == model_; }

  // The dependencies whose external reference for `end` ("source" or
  // "target") is "vorn:qm:" followed by `guid`, one entry per application,
  // in the order of the stereotype's applications; null when there are none
  // (always for an empty `guid` or another `end`).
  const std::vector<qm::IVelEntity*>* DependenciesNaming(const std::string& end, const std::string& guid) const;

  // The elements carrying a hyperlink whose "URL" is a "vorn:" URL ending in
  // `guid`, one entry per hyperlink, in the order of the stereotype's
  // applications; null when there are none (always for an empty `guid`).
  const std::vector<qm::IVelEntity*>* HyperlinkCarriersNaming(const std::string& guid) const;

 private:
  using Index = std::unordered_map<std::string, std::vector<qm::IVelEntity*>>;

  void GatherExternalReferences(qm::IVelEntity* stereotype);
  void GatherHyperlinks(qm::IVelEntity* stereotype);
  static const std::vector<qm::IVelEntity*>* Find(const Index& index, const std::string& guid);

  qm::IVelModel* model_;
  Index bySource_;   // GUID named by the "source" reference -> dependencies
  Index byTarget_;   // GUID named by the "target" reference -> dependencies
  Index carriers_;   // GUID a hyperlink URL ends in -> elements carrying it
};

#endif  // LINKS_LINKGATHERING_H_
