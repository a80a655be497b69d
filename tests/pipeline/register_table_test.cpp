#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "pipeline/register_table.h"

namespace kelvo {
namespace {

// Every 32-bit field of a record (the table pointers excluded) is named by exactly one row: a row
// that is missing, doubled or pointing at the wrong field shows up as a field left at its fill
// value or as two rows sharing a value.
template <typename Record, typename Field>
void ExpectEveryFieldOnce(Field field, size_t integer_fields) {
    Record record;
    std::memset(static_cast<void*>(&record), 0xA5, sizeof(record));
    std::set<int32_t> seen;
    int32_t next = 1;
    for (const RegisterInfo& reg : kRegisters) {
        if (!(reg.*field)) continue;
        record.*(reg.*field) = next;
        seen.insert(next++);
    }
    EXPECT_EQ(seen.size(), integer_fields);
    const int32_t* words = reinterpret_cast<const int32_t*>(&record);
    for (size_t i = 0; i < integer_fields; ++i) EXPECT_TRUE(seen.count(words[i])) << "field " << i;
}

TEST(RegisterTableTest, EachFormHasEveryFieldOnceAndCopiesKeepTheValues) {
    ExpectEveryFieldOnce<alad_verification_registrator>(&RegisterInfo::internal, 15);
    ExpectEveryFieldOnce<alad_verification_registrator_>(&RegisterInfo::public_form, 13);
    ExpectEveryFieldOnce<alad_registrator_driver>(&RegisterInfo::driver, 13);
    ExpectEveryFieldOnce<alad_verification_registrator_interface_>(&RegisterInfo::front_end, 13);

    alad_verification_registrator_ pub;
    for (int i = 0; i < kRegisterCount; ++i) {
        if (kRegisters[i].public_form) pub.*kRegisters[i].public_form = 100 + i;
    }
    alad_verification_registrator internal;
    CopyRegisters(pub, internal);
    alad_registrator_driver driver{};
    CopyRegisters(internal, driver);
    alad_verification_registrator_interface_ front_end{};
    CopyRegisters(pub, front_end);
    alad_verification_registrator_ back;
    CopyRegisters(front_end, back);
    for (int i = 0; i < kRegisterCount; ++i) {
        const RegisterInfo& reg = kRegisters[i];
        SCOPED_TRACE(reg.name);
        if (!reg.public_form) {
            EXPECT_EQ(internal.*reg.internal, 0);  // the block counts are outputs: never copied in
            continue;
        }
        EXPECT_EQ(internal.*reg.internal, 100 + i);
        EXPECT_EQ(back.*reg.public_form, 100 + i);
        if (reg.driver) {
            EXPECT_EQ(driver.*reg.driver, 100 + i);
        }
    }
}

}  // namespace
}  // namespace kelvo
