#include "tagfile/tovi_object.h"

#include "tagfile/tovi_handle_line.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

test::TagObject fullObject() {
    test::TagObject obj = test::emptyTagObject();
    obj->path = strdup("/d/vekinfo.tag");
    obj->line = 17;
    obj->library = 1;
    obj->libcheck = 0;
    obj->dmtype = strdup("Mrev");
    obj->nameSpace = TOV_NAMESPACE_NT;
    test::addEntry(*obj, "FOO", "1");
    test::addEntry(*obj, "foo", "");
    test::addEntry(*obj, "BAR", "x y");
    return obj;
}

TEST(VekinfoObj, HasItsFieldsInTheDocumentedOrder) {
    EXPECT_EQ(0U, offsetof(VekinfoObj, next));
    EXPECT_EQ(8U, offsetof(VekinfoObj, path));
    EXPECT_EQ(16U, offsetof(VekinfoObj, line));
    EXPECT_EQ(20U, offsetof(VekinfoObj, library));
    EXPECT_EQ(21U, offsetof(VekinfoObj, libcheck));
    EXPECT_EQ(24U, offsetof(VekinfoObj, dmtype));
    EXPECT_EQ(32U, offsetof(VekinfoObj, nameSpace));
    EXPECT_EQ(40U, offsetof(VekinfoObj, names));
    EXPECT_EQ(48U, offsetof(VekinfoObj, namesSize));
    EXPECT_EQ(56U, offsetof(VekinfoObj, values));
    EXPECT_EQ(64U, offsetof(VekinfoObj, valuesSize));
    EXPECT_EQ(72U, sizeof(VekinfoObj));
}

TEST(TovInitVekinfoObj, LeavesEverythingUnset) {
    VekinfoObj obj;
    std::memset(&obj, 0xAA, sizeof(obj));
    tovInitVekinfoObj(&obj);

    EXPECT_EQ(nullptr, obj.next);
    EXPECT_EQ(nullptr, obj.path);
    EXPECT_EQ(0U, obj.line);
    EXPECT_EQ(255, obj.library);
    EXPECT_EQ(255, obj.libcheck);
    EXPECT_EQ(nullptr, obj.dmtype);
    EXPECT_EQ(0U, obj.nameSpace);
    EXPECT_EQ(nullptr, obj.names);
    EXPECT_EQ(0, obj.namesSize);
    EXPECT_EQ(nullptr, obj.values);
    EXPECT_EQ(0, obj.valuesSize);
}

TEST(TovMakeVekinfoObj, CopiesEveryFieldDeeply) {
    const test::TagObject source = fullObject();

    VekinfoObj *made = nullptr;
    ASSERT_EQ(TOV_OK, tovMakeVekinfoObj(&made, source.get()));
    const test::TagObject copy(made);
    ASSERT_NE(nullptr, copy);

    EXPECT_STREQ("/d/vekinfo.tag", copy->path);
    EXPECT_NE(source->path, copy->path);
    EXPECT_EQ(17U, copy->line);
    EXPECT_EQ(1, copy->library);
    EXPECT_EQ(0, copy->libcheck);
    EXPECT_STREQ("Mrev", copy->dmtype);
    EXPECT_NE(source->dmtype, copy->dmtype);
    EXPECT_EQ(static_cast<uint32_t>(TOV_NAMESPACE_NT), copy->nameSpace);
    EXPECT_EQ((test::Entries{"FOO=1", "foo=", "BAR=x y"}), test::entriesOf(*copy));
    EXPECT_NE(source->names, copy->names);
    EXPECT_NE(source->names[0], copy->names[0]);
    EXPECT_NE(source->values, copy->values);
    EXPECT_NE(source->values[0], copy->values[0]);
    EXPECT_EQ(4, copy->namesSize) << "the null at the end counts";
    EXPECT_EQ(4, copy->valuesSize);
}

TEST(TovMakeVekinfoObj, CopiesAnObjectWithNothingSet) {
    const test::TagObject source = test::emptyTagObject();

    VekinfoObj *made = nullptr;
    ASSERT_EQ(TOV_OK, tovMakeVekinfoObj(&made, source.get()));
    const test::TagObject copy(made);
    ASSERT_NE(nullptr, copy);

    EXPECT_EQ(nullptr, copy->path);
    EXPECT_EQ(255, copy->library);
    EXPECT_EQ(255, copy->libcheck);
    EXPECT_EQ(nullptr, copy->dmtype);
    EXPECT_EQ(0U, copy->nameSpace);
    EXPECT_EQ(nullptr, copy->names);
    EXPECT_EQ(0, copy->namesSize);
    EXPECT_EQ(nullptr, copy->values);
    EXPECT_EQ(0, copy->valuesSize);
}

TEST(TovMakeVekinfoObj, TheCopyOutlivesItsSource) {
    test::TagObject source = fullObject();
    VekinfoObj *made = nullptr;
    tovMakeVekinfoObj(&made, source.get());
    const test::TagObject copy(made);
    source.reset();
    EXPECT_STREQ("Mrev", copy->dmtype);
    EXPECT_EQ((test::Entries{"FOO=1", "foo=", "BAR=x y"}), test::entriesOf(*copy));
}

TEST(TovMakeVekinfoObj, TheCopiedListsCanGrow) {
    const test::TagObject source = fullObject();
    VekinfoObj *made = nullptr;
    tovMakeVekinfoObj(&made, source.get());
    const test::TagObject copy(made);
    std::string name = "N";
    std::string value = "V";

    for (int round = 0; round < 100; ++round) {
        char *words[] = {name.data(), value.data(), nullptr};
        ASSERT_EQ(TOV_OK, toviHandleInputLine(copy.get(), "p", nullptr, nullptr, 2, words));
    }

    EXPECT_EQ(103U, test::entriesOf(*copy).size());
    EXPECT_EQ("N=V", test::entriesOf(*copy).back());
}

TEST(TovMakeVekinfoObj, ReturnsOkEvenIfMemoryIsExhausted) {
    const test::TagObject source = fullObject();
    for (int nth = 1; nth <= 40; ++nth) {
        VekinfoObj other;
        VekinfoObj *made = &other;
        test::faults::failAllocation(nth);
        const int status = tovMakeVekinfoObj(&made, source.get());
        test::faults::reset();
        const test::TagObject copy(made);

        EXPECT_EQ(TOV_OK, status) << nth;
        if (copy) { // nothing, or the whole copy
            EXPECT_STREQ("/d/vekinfo.tag", copy->path) << nth;
            EXPECT_STREQ("Mrev", copy->dmtype) << nth;
            EXPECT_EQ((test::Entries{"FOO=1", "foo=", "BAR=x y"}), test::entriesOf(*copy)) << nth;
        } else {
            EXPECT_LT(nth, 40) << "without a failing allocation there is a copy";
        }
    }
}

TEST(ClearInfoObj, LeavesAnObjectWithNothingSet) {
    const test::TagObject obj = fullObject();
    tov::clearInfoObj(obj.get());
    EXPECT_EQ(nullptr, obj->path);
    EXPECT_EQ(0U, obj->line);
    EXPECT_EQ(TOV_UNSET, obj->library);
    EXPECT_EQ(TOV_UNSET, obj->libcheck);
    EXPECT_EQ(nullptr, obj->dmtype);
    EXPECT_EQ(0U, obj->nameSpace);
    EXPECT_EQ(nullptr, obj->names);
    EXPECT_EQ(0, obj->namesSize);
    EXPECT_EQ(nullptr, obj->values);
    EXPECT_EQ(0, obj->valuesSize);
}

TEST(ReportNoMemory, ReportsNoLine) {
    test::ReportCollector reports;
    EXPECT_EQ(TOV_MEMORY_ERROR, tov::reportNoMemory());
    EXPECT_EQ((test::TagReports{{TOV_MEMORY_ERROR, "while allocating vekinfo Obj.", "", 0}}), reports.take());
}

TEST(TovDestroyInfoObj, FreesTheContentOfTheObject) { // the leak sanitizer detects what remains
    tovDestroyInfoObj(fullObject().release());
    tovDestroyInfoObj(test::emptyTagObject().release());
    tovDestroyInfoObj(nullptr);
}

} // namespace
