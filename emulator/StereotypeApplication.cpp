#include "emulator/StereotypeApplication.h"

#include "emulator/Model.h"

namespace qmemu {

Entity* ApplyStereotype(Entity& entity, Entity& stereotype, const std::vector<TextTag>& tags) {
  Model& model = entity.model();
  Entity* instance = model.create("InstanceExpr", "", &entity);
  entity.append("HiddenStereotypeInstance", instance);
  instance->setReference("InstanceOf", &stereotype);
  for (const TextTag& tag : tags) {
    Entity* text = model.create("CharstringValue", "", instance);
    text->setValue("ValueString", tag.second);
    instance->addArgument(tag.first, text);
  }
  return instance;
}

}  // namespace qmemu
