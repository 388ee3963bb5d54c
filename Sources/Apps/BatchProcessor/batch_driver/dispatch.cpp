#include "batch_driver/dispatch.h"

#include "metadata/rating_and_tag_actions.h"

namespace quill_box::batch_processor {

bool dispatch_action(processing_context& context, const std::wstring& item, const std::wstring& parameters) {
  using action_types::actions;
  switch (context.action) {
    case actions::set_rating:
      metadata::set_rating_action(item, parameters);
      return true;
    case actions::remove_rating:
      metadata::remove_rating_action(item);
      return true;
    case actions::remove_tags:
      metadata::remove_tags_action(item);
      return true;
    case actions::toggle_tags:
      metadata::toggle_tags_action(item, parameters);
      return true;
    case actions::update_tags:
      metadata::update_tags_action(item, parameters);
      return true;
    default:
      return false;
  }
}

}  // namespace quill_box::batch_processor
