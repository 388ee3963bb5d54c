#include "platform/host/mount_order.h"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <string>

namespace {

using platform::host::orders_data_before_rename;

constexpr std::string_view mounts =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw,discard\n"
    "28 27 254:1 / /ordered rw shared:1 master:2 - ext4 /dev/vda1 rw,data=ordered\n"
    "29 27 254:2 / /writeback rw - ext4 /dev/vda2 rw,data=writeback,discard\n"
    "30 27 254:3 / /unallocated rw - ext4 /dev/vda3 rw,noauto_da_alloc\n"
    "31 27 254:4 / /old rw - ext2 /dev/vda4 rw\n"
    "32 27 254:5 / /with\\040space rw shared:3 - ext3 /dev/vda5 rw\n"
    "33 27 0:40 / /cow rw - btrfs /dev/vda6 rw\n"
    "34 27 0:41 / /layers rw - overlay overlay rw,lowerdir=/a,upperdir=/b\n"
    "35 27 0:42 / /memory rw - tmpfs tmpfs rw,size=24684096k\n"
    "36 27 254:6 / /journal rw - ext4 /dev/vda7 rw,data=journal\n"
    "cut short 25";

bool is_ordered(unsigned first, unsigned second) { return orders_data_before_rename(mounts, makedev(first, second)); }

TEST(mount_order_test, ext4_keeps_the_order_by_default) {
  EXPECT_TRUE(is_ordered(254, 0));
  EXPECT_TRUE(is_ordered(254, 1));
  EXPECT_TRUE(is_ordered(254, 6));
}

TEST(mount_order_test, ext4_without_its_order_doesn_t) {
  EXPECT_FALSE(is_ordered(254, 2));
  EXPECT_FALSE(is_ordered(254, 3));
}

TEST(mount_order_test, its_forerunners_and_other_file_systems_don_t) {
  EXPECT_FALSE(is_ordered(254, 4));
  EXPECT_FALSE(is_ordered(254, 5));
  EXPECT_FALSE(is_ordered(0, 40));
  EXPECT_FALSE(is_ordered(0, 41));
}

TEST(mount_order_test, memory_has_nothing_to_lose) { EXPECT_TRUE(is_ordered(0, 42)); }

TEST(mount_order_test, an_unknown_device_doesn_t) {
  EXPECT_FALSE(is_ordered(8, 1));
  EXPECT_FALSE(is_ordered(25, 4));
  EXPECT_FALSE(orders_data_before_rename("", makedev(254, 0)));
  EXPECT_FALSE(orders_data_before_rename("- ext4 /dev/vda rw", makedev(254, 0)));
}

}  // namespace
