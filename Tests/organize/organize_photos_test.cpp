#include "organize/organize_photos.h"

#include "organize/photos_fixture.h"
#include "organize/undo_organize.h"

namespace quill_box::organize {

namespace {

namespace attribute = platform::attribute;
using platform::win32_error;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// --- which files

TEST_F(organize_by_photos, names_and_places_a_photo_by_its_date_place_and_people) {
  put_photo(L"IMG_1.JPG");
  take_in_paris(L"IMG_1.JPG");
  name_people(L"IMG_1.JPG", {L"Anna", L"Ben"});
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(2021-03-04\Paris, Ile-de-France, France\)"
                                   L"2021-03-04 - Paris, Ile-de-France, France - Anna and Ben - IMG_1.JPG"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre("[INFO] Organize folder (Photos): moved 1 files (0 failed [0 still in use], 0 skipped for "
                          R"(path length) from C:\Photos)"));
  EXPECT_THAT(callbacks.said, IsEmpty());
}

TEST_F(organize_by_photos, of_a_photo_that_knows_nothing_takes_the_day_of_its_creation) {
  put(L"IMG_1.jpg");
  machine.entry(in_folder(L"IMG_1.jpg")).created = support::ticks_of({2021, 3, 4, 12, 0, 0, 0});
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(2021-03-04\2021-03-04 - IMG_1.jpg)"));
}

TEST_F(organize_by_photos, takes_photos_alone) {
  for (const wchar_t* name : {L"a.jpg", L"b.mp4", L"c.NEF", L"d.txt", L"e", L".jpg", L"f.jpg.bak"})
    put_photo(name);
  use_patterns("<Original Filename>", "<Date>");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(2021-03-04\a.jpg)", L"b.mp4", testing::EndsWith(LR"(\c.NEF)"), L"d.txt",
                                            L"e", L".jpg", L"f.jpg.bak"));
}

TEST_F(organize_by_photos, takes_photos_whatever_the_categories_say) {
  use_settings(R"("organize.categories":[{"name":"Images","enabled":false,"extensions":["png","txt"]}])");
  for (const wchar_t* name : {L"a.jpg", L"b.png", L"c.txt"})
    put_photo(name);
  organize();
  EXPECT_THAT(files(),
              UnorderedElementsAre(LR"(2021-03-04\2021-03-04 - a.jpg)", LR"(2021-03-04\2021-03-04 - b.png)", L"c.txt"));
}

TEST_F(organize_by_photos, leaves_folders_hidden_and_system_files_and_what_is_excluded) {
  use_settings(R"("organize.excludedNames":["*.png","B.jpg"])");
  for (const wchar_t* name : {L"hidden.jpg", L"system.jpg", L"a.PNG", L"b.JPG", L"c.jpg"})
    put_photo(name);
  machine.entry(in_folder(L"hidden.jpg")).attributes |= attribute::hidden;
  machine.entry(in_folder(L"system.jpg")).attributes |= attribute::system;
  machine.write_file(LR"(C:\Photos\Trip\d.jpg)", "d");
  machine.make_directory(LR"(C:\Photos\e.jpg)");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(L"hidden.jpg", L"system.jpg", L"a.PNG", L"b.JPG", LR"(Trip\d.jpg)",
                                            LR"(2021-03-04\2021-03-04 - c.jpg)"));
  EXPECT_THAT(folders(), UnorderedElementsAre(L"Trip", L"e.jpg", L"2021-03-04"));
}

TEST_F(organize_by_photos, takes_a_photo_whose_attributes_cannot_be_read) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", "New");
  // Only in the selection: what reads the photo's values asks for them again.
  machine.calls.refuse("attributes", in_folder(L"a.jpg"), win32_error::access_denied, 1);
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(NewNew\a.jpg)"));
}

TEST_F(organize_by_photos, takes_the_photos_in_the_order_of_the_file_system) {
  put_photos(3);
  use_patterns("<Date>", "");
  machine.files.deliver_in_order(folder, {L"3.jpg", L"1.jpg", L"2.jpg"});
  organize();
  EXPECT_THAT(journal().moves,
              ElementsAre(journal_move{L"3.jpg", L"2021-03-04.jpg"}, journal_move{L"1.jpg", L"2021-03-04 (1).jpg"},
                          journal_move{L"2.jpg", L"2021-03-04 (2).jpg"}));
}

TEST_F(organize_by_photos, organizes_what_was_found_before_the_enumeration_failed) {
  put_photos(2);
  use_patterns("<Date>", "");
  machine.calls.refuse("next_entry", in_folder(L"2.jpg"), win32_error::read_fault);
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(L"2021-03-04.jpg", L"2.jpg"));
}

// --- names

TEST_F(organize_by_photos, without_a_placement_only_renames) {
  put_photos(2);
  use_patterns("<Date> <Original Filename>", "");
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(L"2021-03-04 1.jpg", L"2021-03-04 2.jpg"));
  EXPECT_EQ(journal(), (undo_journal{folder, {}, {{L"1.jpg", L"2021-03-04 1.jpg"}, {L"2.jpg", L"2021-03-04 2.jpg"}}}));
  EXPECT_THAT(machine.calls.named({"create_directory"}), testing::Each(testing::Not(HasSubstr("Photos"))));
}

TEST_F(organize_by_photos, whose_placement_has_no_value_stay_in_the_folder) {
  put_photo(L"a.jpg");
  use_patterns("<Date>", "<People>");
  organize();
  EXPECT_THAT(files(), ElementsAre(L"2021-03-04.jpg"));
  EXPECT_THAT(journal().created_folders, IsEmpty());
}

TEST_F(organize_by_photos, without_a_naming_keep_their_names) {
  put_photo(L"a.JPG");
  use_patterns("", "<Date>");
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(2021-03-04\a.JPG)"));
}

TEST_F(organize_by_photos, whose_naming_has_no_value_keep_their_names) {
  put_photo(L"a.jpg");
  use_patterns("<People>", "<Date>");
  organize();
  EXPECT_THAT(files(), ElementsAre(LR"(2021-03-04\a.jpg)"));
}

TEST_F(organize_by_photos, of_the_same_values_are_numbered_from_1) {
  for (const wchar_t* name : {L"a.jpg", L"b.jpg", L"c.jpg"}) {
    put_photo(name);
    take_in_paris(name);
    name_people(name, {L"Anna"});
  }
  use_patterns("<Date> <City> <People>", "<City>");
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Paris\2021-03-04 Paris Anna.jpg)"), "of a.jpg");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Paris\2021-03-04 Paris Anna (1).jpg)"), "of b.jpg");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\Paris\2021-03-04 Paris Anna (2).jpg)"), "of c.jpg");
  EXPECT_THAT(journal().moves, Contains(journal_move{L"c.jpg", LR"(Paris\2021-03-04 Paris Anna (2).jpg)"}));
}

TEST_F(organize_by_photos, are_numbered_to_1000_and_no_further) {
  use_patterns("<Date>", "<Date>");
  machine.write_file(LR"(C:\Photos\2021-03-04\2021-03-04.jpg)", "");
  for (int i = 1; i < 1000; ++i)
    machine.write_file(text::format(LR"(C:\Photos\2021-03-04\2021-03-04 ({}).jpg)", i), "");
  put_photo(L"a.jpg");
  organize();
  EXPECT_TRUE(machine.exists(LR"(C:\Photos\2021-03-04\2021-03-04 (1000).jpg)"));

  put_photo(L"a.jpg");
  EXPECT_EQ(failure(), "1 of 1 files could not be organized: 1 failed for other reasons -- see the log for details.");
  EXPECT_TRUE(machine.exists(in_folder(L"a.jpg")));
  EXPECT_THAT(machine.log_lines(), Contains("[ERROR] Organize folder (Photos): Unable to find a free name for 'a.jpg' "
                                            R"(in 'C:\Photos\2021-03-04')"));
}

// --- places

TEST_F(organize_by_photos, record_the_folders_that_they_make_parents_first_and_once) {
  put_photos(3);
  take_in_paris(L"1.jpg");
  take_in_paris(L"2.jpg");
  use_patterns("<Original Filename>", R"(<Date>\<Country>\<City>)");
  machine.make_directory(LR"(C:\Photos\2021-03-04)");
  set_day(machine, in_folder(L"2.jpg"), 2022, 1, 1);
  set_day(machine, in_folder(L"3.jpg"), 2022, 1, 1);
  organize();
  EXPECT_THAT(journal().created_folders,
              ElementsAre(LR"(2021-03-04\France)", LR"(2021-03-04\France\Paris)", L"2022-01-01",
                          LR"(2022-01-01\France)", LR"(2022-01-01\France\Paris)"));
  EXPECT_THAT(journal().moves, ElementsAre(journal_move{L"1.jpg", LR"(2021-03-04\France\Paris\1.jpg)"},
                                           journal_move{L"2.jpg", LR"(2022-01-01\France\Paris\2.jpg)"},
                                           journal_move{L"3.jpg", LR"(2022-01-01\3.jpg)"}));
}

// On purpose: what begins like the way out of the folder counts as outside.
TEST_F(organize_by_photos, do_not_record_a_folder_whose_name_begins_with_two_dots) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", "..<Date>");
  organize();
  EXPECT_EQ(journal(), (undo_journal{folder, {}, {{L"a.jpg", LR"(..2021-03-04\a.jpg)"}}}));
}

TEST_F(organize_by_photos, on_another_drive_are_recorded_with_their_full_path_and_their_folders_are_not) {
  machine.disk.add_drive(L"D:");
  put_photo(L"a.jpg");
  put(L"a.xmp");
  use_patterns("<Original Filename>", R"(D:\Trips\<Date>)");
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(create D:\Trips\2021-03-04?)"));
  EXPECT_EQ(machine.read_file(LR"(D:\Trips\2021-03-04\a.jpg)"), "of a.jpg");
  EXPECT_EQ(
      journal(),
      (undo_journal{
          folder, {}, {{L"a.jpg", LR"(D:\Trips\2021-03-04\a.jpg)"}, {L"a.xmp", LR"(D:\Trips\2021-03-04\a.jpg.xmp)"}}}));

  undo_organize(context, folder);
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.jpg", L"a.xmp"));
  EXPECT_TRUE(machine.exists(LR"(D:\Trips\2021-03-04)"));
}

TEST_F(organize_by_photos, elsewhere_on_the_drive_are_recorded_by_the_way_there) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", R"(..\Sorted\<Date>)");
  organize();
  EXPECT_THAT(callbacks.said, IsEmpty());
  EXPECT_EQ(machine.read_file(LR"(C:\Sorted\2021-03-04\a.jpg)"), "of a.jpg");
  EXPECT_EQ(journal(), (undo_journal{folder, {}, {{L"a.jpg", LR"(..\Sorted\2021-03-04\a.jpg)"}}}));

  undo_organize(context, folder);
  EXPECT_THAT(files(), ElementsAre(L"a.jpg"));
  EXPECT_TRUE(machine.exists(LR"(C:\Sorted\2021-03-04)"));
}

TEST_F(organize_by_photos, on_another_share_of_a_server_are_recorded_with_their_full_path) {
  machine.disk.add_drive(LR"(\\nas\in)");
  machine.disk.add_drive(LR"(\\nas\out)");
  machine.write_file(LR"(\\nas\in\Photos\a.jpg)", "a");
  use_patterns("<Original Filename>", R"(\\nas\out\Trips<People>)");
  organize_folder(context, LR"(\\nas\in\Photos)", L"photos_pattern");
  EXPECT_EQ(machine.read_file(LR"(\\nas\out\Trips\a.jpg)"), "a");
  EXPECT_THAT(read_journal(LR"(\\nas\in\Photos\qb_organize_undo.json)").moves,
              ElementsAre(journal_move{L"a.jpg", LR"(\\nas\out\Trips\a.jpg)"}));
  undo_organize(context, LR"(\\nas\in\Photos)");
  EXPECT_EQ(machine.read_file(LR"(\\nas\in\Photos\a.jpg)"), "a");
}

TEST_F(organize_by_photos, record_a_folder_inside_also_where_the_placement_names_it_in_full) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", R"(C:\Photos\Sorted\<Date>)");
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(create C:\Photos\Sorted\2021-03-04?)"));
  EXPECT_EQ(journal(),
            (undo_journal{folder, {L"Sorted", LR"(Sorted\2021-03-04)"}, {{L"a.jpg", LR"(Sorted\2021-03-04\a.jpg)"}}}));
}

// --- the look at the first placement

TEST_F(organize_by_photos, ask_for_the_folder_of_the_first_photo_before_the_display_comes) {
  machine.disk.add_drive(L"D:");
  put_photos(20);
  use_patterns("<Original Filename>", R"(D:\<Original Filename>)");
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(create D:\1?)", L"bring_to_front"));
  EXPECT_TRUE(machine.exists(LR"(D:\20\20.jpg)"));
}

TEST_F(organize_by_photos, make_the_folders_of_the_others_without_a_question) {
  machine.disk.add_drive(L"D:");
  machine.make_directory(LR"(D:\1)");
  put_photos(2);
  use_patterns("<Original Filename>", R"(D:\<Original Filename>)");
  organize();
  EXPECT_THAT(callbacks.said, IsEmpty());
  EXPECT_TRUE(machine.exists(LR"(D:\2\2.jpg)"));
}

TEST_F(organize_by_photos, whose_folder_the_user_declines_stay) {
  callbacks.let_create_folders = false;
  machine.disk.add_drive(L"D:");
  put_photos(20);
  machine.write_file(journal_file, "older");
  use_patterns("<Original Filename>", R"(D:\<Date>)");
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(create D:\2021-03-04?)"));
  EXPECT_EQ(files().size(), 20U);
  EXPECT_FALSE(machine.exists(LR"(D:\2021-03-04)"));
  EXPECT_EQ(machine.read_file(journal_file), "older");
  EXPECT_THAT(notifications(), IsEmpty());
  EXPECT_THAT(callbacks.percents, IsEmpty());
  EXPECT_THAT(machine.log_lines(), ElementsAre("[INFO] Organize folder (Photos): cancelled, target folder "
                                               R"('D:\2021-03-04' was not created)"));
}

TEST_F(organize_by_photos, on_a_missing_drive_all_stay) {
  put_photos(25);
  use_patterns("<Original Filename>", R"(E:\Trips\<Date>)");
  EXPECT_EQ(failure(), R"(Placement pattern root 'E:\' is not currently available.)");
  EXPECT_EQ(files().size(), 25U);
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(callbacks.said, IsEmpty());
  EXPECT_THAT(callbacks.percents, IsEmpty());
  EXPECT_THAT(machine.log_lines(), IsEmpty());
}

TEST_F(organize_by_photos, on_a_missing_share_all_stay) {
  put_photos(2);
  use_patterns("<Original Filename>", R"(\\nas\photos\<Date>)");
  EXPECT_EQ(failure(), R"(Placement pattern root '\\nas\' is not currently available.)");
  EXPECT_EQ(files().size(), 2U);
}

TEST_F(organize_by_photos, go_to_a_share_that_is_there) {
  machine.disk.add_drive(LR"(\\nas\photos)");
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", R"(\\nas\photos\<Date>)");
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(LR"(create \\nas\photos\2021-03-04?)"));
  EXPECT_TRUE(machine.exists(LR"(\\nas\photos\2021-03-04\a.jpg)"));
}

TEST_F(organize_by_photos, look_at_no_placement_ahead_that_is_relative) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", "<Date>");
  callbacks.let_create_folders = false;
  organize();
  EXPECT_THAT(callbacks.said, IsEmpty());
  EXPECT_THAT(files(), ElementsAre(LR"(2021-03-04\a.jpg)"));
}

TEST_F(organize_by_photos, read_the_first_one_ahead_for_a_placement_alone) {
  put_photos(2);
  use_patterns("<Date>", "");
  organize();
  EXPECT_EQ(machine.calls.count("open_handler_store"), 2U);
  machine.calls.clear();
  use_patterns("<Original Filename>", "<Date>");
  organize();
  EXPECT_THAT(machine.calls.named({"open_handler_store"}),
              ElementsAre(HasSubstr("2021-03-04.jpg"), HasSubstr("2021-03-04.jpg"), HasSubstr("2021-03-04 (1).jpg")));
}

// --- sidecars

TEST_F(organize_by_photos, take_a_sidecar_along_behind_the_whole_new_name) {
  put_photo(L"a.jpg");
  put(L"a.xmp");
  use_patterns("b <Date>", "");
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\b 2021-03-04.jpg)"), "of a.jpg");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\b 2021-03-04.jpg.xmp)"), "of a.xmp");
  EXPECT_THAT(files(), testing::SizeIs(2));
  EXPECT_THAT(journal().moves, ElementsAre(journal_move{L"a.jpg", L"b 2021-03-04.jpg"},
                                           journal_move{L"a.xmp", L"b 2021-03-04.jpg.xmp"}));
  EXPECT_THAT(machine.log_lines(), ElementsAre(HasSubstr("moved 1 files (0 failed")));
}

TEST_F(organize_by_photos, number_a_sidecar_with_its_photo) {
  put_photos(2);
  put(L"1.jpg.xmp");
  put(L"2.jpg.xmp");
  use_patterns("<Date>", "");
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\2021-03-04.jpg.xmp)"), "of 1.jpg.xmp");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\2021-03-04 (1).jpg.xmp)"), "of 2.jpg.xmp");
}

TEST_F(organize_by_photos, take_every_kind_of_sidecar_along_in_order) {
  put_photo(L"a.jpg");
  for (const wchar_t* name :
       {L"a.on1", L"a.jpg.dop", L"a.pp3", L"a.thm", L"a.jpg.aae", L"a.xmp", L"a.txt", L"a.jpg.json"})
    put(name);
  use_patterns("<Original Filename>", "<Date>");
  organize();
  std::vector<std::wstring> order;
  for (const journal_move& move : journal().moves)
    order.push_back(move.from);
  EXPECT_THAT(order, ElementsAre(L"a.jpg", L"a.xmp", L"a.jpg.aae", L"a.thm", L"a.pp3", L"a.jpg.dop", L"a.on1"));
  EXPECT_THAT(files(), testing::IsSupersetOf({L"a.txt", L"a.jpg.json"}));
}

TEST_F(organize_by_photos, with_both_forms_of_a_sidecar_take_the_shorter_one_and_warn) {
  put_photo(L"a.jpg");
  put(L"a.jpg.xmp");
  put(L"a.xmp");
  use_patterns("b <Date>", "");
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\b 2021-03-04.jpg.xmp)"), "of a.xmp");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\a.jpg.xmp)"), "of a.jpg.xmp");
  EXPECT_THAT(machine.log_lines(),
              ElementsAre("[WARNING] Organize folder (Photos): skipping sidecar 'a.jpg.xmp', a file already exists at "
                          "the destination",
                          HasSubstr("moved 1 files (0 failed [0 still in use], 0 skipped")));
}

TEST_F(organize_by_photos, find_sidecars_in_order_and_no_folders) {
  put(L"a.jpg");
  for (const wchar_t* name : {L"a.jpg.thm", L"a.thm", L"a.jpg.xmp", L"a.xmp", L"b.xmp"})
    put(name);
  machine.make_directory(in_folder(L"a.aae"));
  EXPECT_THAT(find_sidecars(in_folder(L"a.jpg")),
              ElementsAre(in_folder(L"a.xmp"), in_folder(L"a.jpg.xmp"), in_folder(L"a.thm"), in_folder(L"a.jpg.thm")));
}

TEST_F(organize_by_photos, look_for_sidecars_when_the_photo_has_left) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", "<Date>");
  organize();
  const auto calls = machine.calls.named({"move_file", "kind"});
  const auto move = std::find(calls.begin(), calls.end(), R"(move_file(C:\Photos\a.jpg, C:\Photos\2021-03-04\a.jpg))");
  const std::vector<std::string> after(move, calls.end());
  ASSERT_EQ(after.size(), 13U);
  EXPECT_EQ(after[1], R"(kind(C:\Photos\a.xmp))");
  EXPECT_EQ(after[2], R"(kind(C:\Photos\a.jpg.xmp))");
  EXPECT_EQ(after[11], R"(kind(C:\Photos\a.on1))");
  EXPECT_EQ(after[12], R"(kind(C:\Photos\a.jpg.on1))");
}

TEST_F(organize_by_photos, leave_a_sidecar_whose_new_name_is_taken) {
  put_photo(L"a.jpg");
  put(L"a.xmp");
  machine.write_file(LR"(C:\Photos\2021-03-04\a.jpg.xmp)", "theirs");
  use_patterns("<Original Filename>", "<Date>");
  organize();
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\2021-03-04\a.jpg.xmp)"), "theirs");
  EXPECT_EQ(machine.read_file(LR"(C:\Photos\a.xmp)"), "of a.xmp");
  EXPECT_THAT(machine.log_lines(), Contains("[WARNING] Organize folder (Photos): skipping sidecar 'a.xmp', a file "
                                            "already exists at the destination"));
}

TEST_F(organize_by_photos, try_a_locked_sidecar_once_and_do_not_count_it) {
  put_photo(L"a.jpg");
  put(L"a.xmp");
  put(L"a.thm");
  use_patterns("<Original Filename>", "<Date>");
  machine.calls.refuse("move_file", in_folder(L"a.xmp"), win32_error::sharing_violation);
  organize();
  EXPECT_THAT(machine.clock.sleeps(), IsEmpty());
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.xmp", LR"(2021-03-04\a.jpg)", LR"(2021-03-04\a.jpg.thm)"));
  EXPECT_THAT(machine.log_lines(),
              ElementsAre("[WARNING] Organize folder (Photos): failed to move sidecar 'a.xmp' (The process cannot "
                          "access the file because it is being used by another process.)",
                          HasSubstr("moved 1 files (0 failed [0 still in use], 0 skipped")));
}

TEST_F(organize_by_photos, that_stay_keep_their_sidecars) {
  put_photo(L"a.jpg");
  put(L"a.xmp");
  machine.calls.refuse("move_file", in_folder(L"a.jpg"), win32_error::access_denied);
  EXPECT_NE(failure(), "none");
  EXPECT_THAT(files(), UnorderedElementsAre(L"a.jpg", L"a.xmp"));
}

// --- what the user and the shell see

TEST_F(organize_by_photos, show_the_display_from_20_photos_on) {
  put_photos(19);
  for (int i = 1; i <= 19; ++i)
    put(text::format(L"{}.xmp", i));  // only photos count
  organize();
  EXPECT_THAT(callbacks.said, IsEmpty());
  put_photos(20);
  organize();
  EXPECT_THAT(callbacks.said, ElementsAre(L"bring_to_front"));
}

TEST_F(organize_by_photos, show_between_7_and_96_percent) {
  put_photos(40);
  machine.calls.refuse("move_file", in_folder(L"1.jpg"), win32_error::access_denied);
  EXPECT_NE(failure(), "none");
  ASSERT_EQ(callbacks.percents.size(), 40U);
  EXPECT_EQ(callbacks.percents[0], 7);  // 2.5
  EXPECT_EQ(callbacks.percents[2], 7);  // 7.5
  EXPECT_EQ(callbacks.percents[3], 10);
  EXPECT_EQ(callbacks.percents[37], 95);
  EXPECT_EQ(callbacks.percents[38], 96);  // 97.5
  EXPECT_EQ(callbacks.percents[39], 96);
}

TEST_F(organize_by_photos, that_are_cancelled_leave_a_journal_of_what_was_done) {
  put_photos(3);
  use_patterns("<Original Filename>", "<Date>");
  callbacks.cancel_at_question = 3;
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(2021-03-04\1.jpg)", LR"(2021-03-04\2.jpg)", L"3.jpg"));
  EXPECT_EQ(journal().moves.size(), 2U);
  EXPECT_THAT(machine.log_lines(),
              ElementsAre("[INFO] Organize folder (Photos): moved 2 files (0 failed [0 still in use], 0 skipped for "
                          R"(path length) from C:\Photos)"));
}

TEST_F(organize_by_photos, that_are_cancelled_before_the_first_one_tell_the_shell_of_the_folder_alone) {
  put_photos(2);
  callbacks.cancel_at_question = 1;
  organize();
  EXPECT_EQ(files().size(), 2U);
  EXPECT_FALSE(has_journal());
  EXPECT_THAT(callbacks.percents, IsEmpty());
  EXPECT_THAT(notifications(), ElementsAre(R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

TEST_F(organize_by_photos, that_are_cancelled_report_what_failed_before) {
  put_photos(2);
  callbacks.cancel_at_question = 2;
  machine.calls.refuse("move_file", L"", win32_error::access_denied);
  EXPECT_EQ(failure(), "1 of 1 files could not be organized: 1 failed for other reasons -- see the log for details.");
}

TEST_F(organize_by_photos, wait_in_a_pause) {
  put_photo(L"a.jpg");
  callbacks.paused_questions = 3;
  organize();
  EXPECT_THAT(machine.clock.sleeps(),
              ElementsAre(std::chrono::milliseconds(50), std::chrono::milliseconds(50), std::chrono::milliseconds(50)));
}

TEST_F(organize_by_photos, that_are_cancelled_in_a_pause_still_move_the_one_in_hand) {
  put_photos(2);
  use_patterns("<Original Filename>", "<Date>");
  callbacks.paused_questions = 100;
  callbacks.cancel_at_question = 3;  // the one before the first photo and two in its pause
  organize();
  EXPECT_THAT(files(), UnorderedElementsAre(LR"(2021-03-04\1.jpg)", L"2.jpg"));
  EXPECT_THAT(machine.clock.sleeps(), ElementsAre(std::chrono::milliseconds(50)));
}

TEST_F(organize_by_photos, tell_the_shell_of_each_move_and_of_the_folders_at_the_end) {
  put_photos(2);
  put(L"1.xmp");
  use_patterns("<Original Filename>", "<Date>");
  set_day(machine, in_folder(L"1.jpg"), 2022, 1, 1);
  organize();
  EXPECT_THAT(notifications(),
              ElementsAre(R"(notify(rename_item, path, C:\Photos\1.jpg, C:\Photos\2022-01-01\1.jpg))",
                          R"(notify(rename_item, path, C:\Photos\1.xmp, C:\Photos\2022-01-01\1.jpg.xmp))",
                          R"(notify(rename_item, path, C:\Photos\2.jpg, C:\Photos\2021-03-04\2.jpg))",
                          R"(notify(update_directory, path, C:\Photos\2021-03-04))",
                          R"(notify(update_directory, path, C:\Photos\2022-01-01))",
                          R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

TEST_F(organize_by_photos, tell_the_shell_of_the_folder_itself_twice_when_photos_stay_in_it) {
  put_photo(L"a.jpg");
  use_patterns("<Date>", "");
  organize();
  EXPECT_THAT(notifications(), ElementsAre(R"(notify(rename_item, path, C:\Photos\a.jpg, C:\Photos\2021-03-04.jpg))",
                                           R"(notify(update_directory, path, C:\Photos))",
                                           R"(notify(update_directory, path_and_wait, C:\Photos))"));
}

TEST_F(organize_by_photos, do_the_steps_of_a_photo_in_order) {
  put_photo(L"a.jpg");
  use_patterns("<Original Filename>", R"(<Date>\x<Date>)");
  machine.calls.clear();
  organize();
  EXPECT_THAT(machine.calls.about(L"2021"),
              ElementsAre(R"(kind(C:\Photos\2021-03-04\x2021-03-04))",  // is it there
                          R"(kind(C:\Photos\2021-03-04\x2021-03-04))",  // what will be new
                          R"(kind(C:\Photos\2021-03-04))",
                          R"(kind(C:\Photos\2021-03-04\x2021-03-04))",  // with all parents
                          R"(kind(C:\Photos\2021-03-04))", R"(create_directory(C:\Photos\2021-03-04))",
                          R"(create_directory(C:\Photos\2021-03-04\x2021-03-04))",
                          R"(kind(C:\Photos\2021-03-04\x2021-03-04\a.jpg))",
                          R"(move_file(C:\Photos\a.jpg, C:\Photos\2021-03-04\x2021-03-04\a.jpg))",
                          R"(notify(rename_item, path, C:\Photos\a.jpg, C:\Photos\2021-03-04\x2021-03-04\a.jpg))",
                          R"(notify(update_directory, path, C:\Photos\2021-03-04\x2021-03-04))"));
  EXPECT_THAT(machine.log_lines(), testing::SizeIs(1));
}

// --- and back

TEST_F(organize_by_photos, come_back_with_their_sidecars) {
  put_photos(3);
  put(L"1.xmp");
  put(L"2.jpg.xmp");
  take_in_paris(L"2.jpg");
  const auto before = files();
  organize();
  undo_organize(context, folder);
  EXPECT_EQ(files(), before);
  EXPECT_EQ(machine.read_file(in_folder(L"1.xmp")), "of 1.xmp");
  EXPECT_EQ(machine.read_file(in_folder(L"2.jpg.xmp")), "of 2.jpg.xmp");
  EXPECT_THAT(folders(), IsEmpty());
  EXPECT_FALSE(has_journal());
}

TEST_F(organize_by_photos, bring_the_display_up_on_the_way_back_by_their_sidecars_too) {
  put_photos(10);
  for (int i = 1; i <= 10; ++i)
    put(text::format(L"{}.xmp", i));
  organize();
  EXPECT_THAT(callbacks.said, IsEmpty());
  undo_organize(context, folder);
  EXPECT_THAT(callbacks.said, ElementsAre(L"bring_to_front"));
}

// Names of people and places come out of photos, which come from anywhere.
TEST_F(organize_by_photos, come_back_from_any_name_that_a_file_can_have) {
  const auto go_and_come_back = [this](const char* naming, const char* placement, const std::wstring& value) {
    SCOPED_TRACE(testing::Message() << value << " " << naming);
    use_patterns(naming, placement);
    for (const wchar_t* name : {L"a.jpg", L"b.jpg"}) {
      put_photo(name);
      name_people(name, {value});
    }
    organize();
    EXPECT_THAT(files(), testing::Not(Contains(L"a.jpg")));
    undo_organize(context, folder);
    EXPECT_THAT(files(), UnorderedElementsAre(L"a.jpg", L"b.jpg"));
    EXPECT_EQ(machine.read_file(in_folder(L"a.jpg")), "of a.jpg");
    EXPECT_EQ(machine.read_file(in_folder(L"b.jpg")), "of b.jpg");
    EXPECT_THAT(folders(), IsEmpty());
  };
  for (const wchar_t* value :
       {L"CON", L"nul.", L"   ", L" x ", L"x. .", L"\u202ecod", L"\u200f", L"\u0130", L"-", L"%TEMP%", L"\U0001F600"}) {
    go_and_come_back("<People>", "<Date>", value);
    go_and_come_back("<Date>", "<People>", value);
  }
  for (const wchar_t* value : {LR"(a\b)", L"a/b", LR"(a\..\b)", LR"(\Photos\x)"})
    go_and_come_back("<Date>", "<People>", value);
}

}  // namespace

}  // namespace quill_box::organize
