#include "libdef/registry/ryni_attributes.h"

#include "tests/libdef/libdef_support.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>
#include <string>

using test::Definitions;
namespace faults = test::faults;

TEST(RynAttributes, NewAttributeIsNullIfMemoryIsExhausted) {
    for (int nth = 1; nth <= 2; ++nth) {
        faults::failAllocation(nth);
        EXPECT_EQ(ryn::newAttribute("NAME", "value", nullptr, 1), nullptr);
        faults::reset();
    }
    rynAttribute *attribute = ryn::newAttribute("NAME", "value", nullptr, 7);
    ASSERT_NE(attribute, nullptr);
    EXPECT_STREQ(attribute->name, "NAME");
    EXPECT_STREQ(attribute->value, "value");
    EXPECT_EQ(attribute->line, 7);
    EXPECT_EQ(attribute->next, nullptr);
    ryn::freeAttribute(attribute);
}

TEST(RynAttributes, ManyAttributesAreFoundWithoutMemoryForTheirIndex) {
    // After the record and the value, the index allocates its object (3) and its slots (4).
    for (const int nth : {3, 4}) {
        Definitions definitions;
        ASSERT_EQ(definitions.load("DEFINE lib a\n"), RYN_OK);
        rynLibrary *const library = definitions.library("lib");
        for (int i = 0; i < 20; ++i) {
            faults::failAllocation(nth);
            ASSERT_TRUE(ryn::setAttribute(*library, "A" + std::to_string(i), "v", nullptr, i));
            faults::reset();
        }
        for (int i = 0; i < 20; ++i) {
            const rynAttribute *const attribute = ryn::findAttribute(*library, "A" + std::to_string(i));
            ASSERT_NE(attribute, nullptr) << nth << ": " << i;
            EXPECT_EQ(attribute->line, i);
        }
        EXPECT_EQ(ryn::findAttribute(*library, "A20"), nullptr);
    }
}
