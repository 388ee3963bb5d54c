#include "batch_driver/dispatch.h"

#include "metadata/rating_and_tag_actions.h"
#include "organize/organize_folder.h"
#include "organize/undo_organize.h"

namespace quill_box::batch_processor {

namespace {

dispatched dispatched_from(metadata::outcome outcome) {
  return outcome == metadata::outcome::passed_over ? dispatched::passed_over : dispatched::taken_up;
}

}  // namespace

dispatched dispatch_action(processing_context& context, const std::wstring& item, text::split_once& parameters,
                           std::optional<platform::item_kind> kind) {
  using action_types::actions;
  switch (context.action) {
    case actions::set_rating:
      return dispatched_from(metadata::set_rating_action(item, parameters.list(), kind));
    case actions::remove_rating:
      return dispatched_from(metadata::remove_rating_action(item, kind));
    case actions::remove_tags:
      return dispatched_from(metadata::remove_tags_action(item, kind));
    case actions::toggle_tags:
      return dispatched_from(metadata::toggle_tags_action(item, parameters, kind));
    case actions::update_tags:
      return dispatched_from(metadata::update_tags_action(item, parameters, kind));
    case actions::organize_folder:
      organize::organize_folder(context, item, parameters.list());
      return dispatched::taken_up;
    case actions::organize_undo:
      organize::undo_organize(context, item);
      return dispatched::taken_up;
    default:
      return dispatched::to_nobody;
  }
}

}  // namespace quill_box::batch_processor
