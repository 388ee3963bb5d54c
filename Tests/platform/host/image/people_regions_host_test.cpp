// People regions in real files, as exiftool reads and writes them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "metadata/file_metadata_store.h"
#include "metadata/people_regions.h"
#include "platform/host/host_files.h"
#include "platform/host/shell_output.h"
#include "platform/machine.h"
#include "text/conversions.h"

namespace {

using host_test::content;
using host_test::output_of;
using quill_box::metadata::file_metadata_store;
using quill_box::metadata::image_dimensions;
using quill_box::metadata::people_region;
using region_list = std::vector<people_region>;

const region_list two_people = {{L"Anna", 0.125, 0.25, 0.25, 0.5}, {L"B & <\u00c4\u00d6>", 0.5, 0.0625, 0.25, 0.125}};

class host_people_regions : public testing::Test {
 protected:
  void SetUp() override { former_ = platform::install(&platform::native_machine()); }
  void TearDown() override { static_cast<void>(platform::install(former_)); }

  std::string make(const std::string& name, const std::string& exiftool_arguments = "-XMP:Label=red") {
    std::string path = folder_.path(name);
    output_of("convert -size 64x48 gradient:red-blue " + path + " && exiftool -q -overwrite_original " +
              exiftool_arguments + " " + path + " 2>&1");
    return path;
  }
  static bool set(const std::string& path, const region_list& regions) {
    return file_metadata_store(text::wide_from_utf8(path)).set_people_regions(regions);
  }
  static region_list get(const std::string& path) {
    return file_metadata_store(text::wide_from_utf8(path)).get_people_regions();
  }
  static std::string microsoft_regions(const std::string& path) {
    return output_of("exiftool -q -f -sep '|' -p '$RegionRectangle;$RegionPersonDisplayName' " + path);
  }
  static std::string working_group_regions(const std::string& path) {
    return output_of(
        "exiftool -q -f -sep '|' -p '$RegionAreaX;$RegionAreaY;$RegionAreaW;$RegionAreaH;$RegionAreaUnit;"
        "$RegionName;$RegionType;$RegionAppliedToDimensionsW;$RegionAppliedToDimensionsH;"
        "$RegionAppliedToDimensionsUnit' " +
        path);
  }
  static std::string other_tags(const std::string& path) {
    return output_of(
        "exiftool -q -q -a -u -G1 -s -e --System:all --ExifTool:all --XMP-MP:all --XMP-mwg-rs:all "
        "--XMP-qzxx:all --XMPToolkit " +
        path);
  }
  static std::string warnings(const std::string& path) {
    return output_of("exiftool -q -q -a -Warning -Error -validate=no " + path + " 2>&1 || true");
  }

  host_test::temporary_folder folder_;

 private:
  platform::machine* former_ = nullptr;
};

TEST_F(host_people_regions, are_read_by_exiftool_in_both_schemas_with_the_same_geometry) {
  for (const char* before : {"-XMP:Label=red -Make=Maker", "-all=", "-XMP:Rating=3 -XMP-dc:Title=t -Comment=words"}) {
    const std::string path = make("a.jpg", before);
    const std::string tags = other_tags(path);
    const std::string pixels = output_of("convert " + path + " rgb:- | md5sum");
    EXPECT_TRUE(set(path, two_people));
    EXPECT_EQ(
        microsoft_regions(path),
        "0.125000, 0.250000, 0.250000, 0.500000|0.500000, 0.062500, 0.250000, 0.125000;Anna|B & <\u00c4\u00d6>\n");
    EXPECT_EQ(working_group_regions(path),
              "0.250000|0.625000;0.500000|0.125000;0.250000|0.250000;0.500000|0.125000;normalized|normalized;"
              "Anna|B & <\u00c4\u00d6>;Face|Face;64;48;pixel\n");
    EXPECT_EQ(other_tags(path), tags);
    EXPECT_EQ(warnings(path), "");
    EXPECT_EQ(output_of("convert " + path + " rgb:- | md5sum"), pixels);
    EXPECT_EQ(get(path), two_people);
    EXPECT_FALSE(set(path, two_people));
  }
}

TEST_F(host_people_regions, that_exiftool_wrote_are_read) {
  const std::string path = make("a.jpg",
                                "'-RegionInfoMP={Regions=[{Rectangle=0.125|, 0.25|, 0.25|, 0.5,PersonDisplayName=Anna},"
                                "{Rectangle=0.5|, 0.0625|, 0.25|, 0.125,PersonDisplayName=B & <\u00c4\u00d6>}]}'");
  EXPECT_EQ(get(path), two_people);
  EXPECT_FALSE(set(path, two_people));
}

TEST_F(host_people_regions, that_exiv2_wrote_as_attributes_are_read) {
  const std::string path = make("a.jpg", "-all=");
  const std::string region = "Xmp.MP.RegionInfo/MPRI:Regions[1]/MPReg:";
  output_of("exiv2 -M'set Xmp.MP.RegionInfo/MPRI:Regions XmpText type=Bag' -M'set " + region +
            "Rectangle XmpText 0.125, 0.25, 0.25, 0.5' -M'set " + region + "PersonDisplayName XmpText Anna' " + path);
  ASSERT_NE(content(path).find("<rdf:li MPReg:Rectangle=\"0.125"), std::string::npos);
  EXPECT_EQ(get(path), (region_list{two_people[0]}));
}

TEST_F(host_people_regions, of_other_programs_give_way_in_both_schemas) {
  const std::string path =
      make("a.jpg",
           "-XMP:Label=red '-RegionInfoMP={Regions=[{Rectangle=0.1|,0.1|,0.1|,0.1,PersonDisplayName=Old}]}' "
           "'-RegionInfo={AppliedToDimensions={W=64,H=48,Unit=pixel},RegionList=[{Name=Older,Type=Face,"
           "Area={X=0.5,Y=0.5,W=0.1,H=0.1,Unit=normalized}}]}'");
  const std::string tags = other_tags(path);
  EXPECT_TRUE(set(path, {two_people[0]}));
  EXPECT_EQ(microsoft_regions(path), "0.125000, 0.250000, 0.250000, 0.500000;Anna\n");
  EXPECT_EQ(working_group_regions(path), "0.250000;0.500000;0.250000;0.500000;normalized;Anna;Face;64;48;pixel\n");
  EXPECT_EQ(other_tags(path), tags);
  EXPECT_EQ(warnings(path), "");
}

TEST_F(host_people_regions, an_empty_set_removes_them) {
  const std::string path = make("a.jpg");
  const std::string tags = other_tags(path);
  EXPECT_TRUE(set(path, two_people));
  EXPECT_TRUE(set(path, {}));
  EXPECT_EQ(microsoft_regions(path), "-;-\n");
  EXPECT_EQ(other_tags(path), tags);
  EXPECT_EQ(get(path), region_list());
}

TEST_F(host_people_regions, of_a_photo_in_portrait_declare_the_turned_size) {
  const std::string path = make("a.jpg", "-n -Orientation=6");
  EXPECT_EQ(image_dimensions(text::wide_from_utf8(path)), (platform::image_size{48, 64}));
  EXPECT_TRUE(set(path, {two_people[0]}));
  EXPECT_EQ(working_group_regions(path), "0.250000;0.500000;0.250000;0.500000;normalized;Anna;Face;48;64;pixel\n");
}

TEST_F(host_people_regions, sizes_and_orientations_of_each_kind_are_those_that_exiftool_writes) {
  for (const char* name : {"a.jpg", "a.png", "a.tif", "a.webp"}) {
    const std::string path = make(name);
    EXPECT_EQ(image_dimensions(text::wide_from_utf8(path)), (platform::image_size{64, 48})) << name;
    output_of("exiftool -q -overwrite_original -n -EXIF:Orientation=8 " + path);
    EXPECT_EQ(image_dimensions(text::wide_from_utf8(path)), (platform::image_size{48, 64})) << name;
  }
}

TEST_F(host_people_regions, of_another_kind_of_file_go_beside_it) {
  for (const char* name : {"a.png", "a.tif", "a.webp"}) {
    const std::string path = make(name);
    const std::string before = content(path);
    EXPECT_TRUE(set(path, two_people));
    EXPECT_EQ(content(path), before);
    EXPECT_EQ(
        microsoft_regions(path + ".xmp"),
        "0.125000, 0.250000, 0.250000, 0.500000|0.500000, 0.062500, 0.250000, 0.125000;Anna|B & <\u00c4\u00d6>\n");
    EXPECT_EQ(working_group_regions(path + ".xmp"),
              "0.250000|0.625000;0.500000|0.125000;0.250000|0.250000;0.500000|0.125000;normalized|normalized;"
              "Anna|B & <\u00c4\u00d6>;Face|Face;64;48;pixel\n");
    EXPECT_EQ(warnings(path + ".xmp"), "");
    EXPECT_FALSE(set(path, two_people));
  }
}

TEST_F(host_people_regions, in_a_sidecar_of_exiftool_keep_its_other_properties) {
  const std::string path = make("a.png");
  output_of("exiftool -q -XMP-dc:Title=t -XMP-xmp:Rating=3 -o " + path + ".xmp " + path);
  const std::string tags = other_tags(path + ".xmp");
  EXPECT_TRUE(set(path, two_people));
  EXPECT_EQ(other_tags(path + ".xmp"), tags);
  EXPECT_NE(microsoft_regions(path + ".xmp").find("Anna"), std::string::npos);
}

TEST_F(host_people_regions, mode_links_and_attributes_of_the_file_survive) {
  const std::string path = make("a.jpg");
  const std::string link = folder_.path("link.jpg");
  ASSERT_EQ(::link(path.c_str(), link.c_str()), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  const bool has_attributes = host_test::set_attribute(path, "user.note", "words");
  EXPECT_TRUE(set(path, two_people));
  EXPECT_EQ(content(link), content(path));
  EXPECT_EQ(get(link), two_people);
  EXPECT_EQ(host_test::status_of(path).st_mode & 0777, 0640U);
  EXPECT_EQ(host_test::attribute(path, "user.note"), has_attributes ? "words" : "");
  EXPECT_EQ(folder_.names(), (std::vector<std::string>{"a.jpg", "link.jpg"}));
}

TEST_F(host_people_regions, a_kill_leaves_the_file_whole) {
  const std::string path = make("a.jpg");
  host_test::put(path, content(path) + host_test::noise(2'000'000, 7));
  const region_list sets[] = {two_people, {two_people[1]}};
  // The first block stands behind a line end that its successors don't have.
  EXPECT_TRUE(set(path, sets[1]));
  std::vector<std::string> whole;
  for (const region_list& regions : sets) {
    EXPECT_TRUE(set(path, regions));
    whole.push_back(content(path));
  }
  bool changed = false;  // from the second one, which is there now
  for (unsigned round = 0; round < 25; ++round) {
    const pid_t child = host_test::start_child([&] {
      for (;;) {
        for (const region_list& regions : sets)
          static_cast<void>(set(path, regions));
      }
      return 0;
    });
    ::usleep(5000 + 37'019 * round % 200'000);
    ::kill(child, SIGKILL);
    EXPECT_EQ(host_test::wait_for(child), -1);
    const std::string left = content(path);
    EXPECT_TRUE(left == whole[0] || left == whole[1]);
    changed = changed || left == whole[0];
  }
  EXPECT_TRUE(changed) << "no child came to write";
  EXPECT_TRUE(set(path, {}));
}

TEST_F(host_people_regions, trailing_data_stays) {
  const std::string path = make("a.jpg");
  const std::string trailer = host_test::noise(100'000, 7);
  host_test::put(path, content(path) + trailer);
  EXPECT_TRUE(set(path, two_people));
  EXPECT_TRUE(content(path).ends_with(trailer));
}

}  // namespace
