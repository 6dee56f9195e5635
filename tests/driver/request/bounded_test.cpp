#include "base/text.h"
#include "driver/request/reader.h"
#include "tests/support/bounded.h"

#include <cstring>

using namespace xyl;
using namespace xyl::driver;

// A number that goes into a field leaves all around it alone, and of a larger one than the field only the low bits.
TEST(Readers, EveryNumberFillsItsFieldAndNothingElse) {
  std::vector<std::string> texts;
  forAllTexts(" 07Fxz-", 4, [&](std::string_view text) { texts.emplace_back(text); });
  for (unsigned bit = 0; bit < 64; ++bit) {
    for (UINT64 near : {(UINT64{1} << bit) - 1, UINT64{1} << bit, ~(UINT64{1} << bit)}) {
      CHAR8 hex[17];
      formatShortHex(hex, near);
      texts.insert(texts.end(), {std::to_string(near), std::to_string(near) + "0", hex, std::string(hex) + "0"});
    }
  }
  size_t rows = 0;
  for (const FieldTable *table : {&g_headerFields, &g_adapterFields, &g_enclosureFields, &g_pdFields, &g_vdFields,
                                  &g_levelDescFields, &g_pciIdentityFields, &g_pciLocationFields, &g_rateFields}) {
    for (UINT32 i = 0; i < table->rowCount; ++i) {
      const FieldRow &row = table->rows[i];
      rows += row.format == FieldFormat::decimal || row.format == FieldFormat::hex ? 1 : 0;
      for (size_t j = 0; j < texts.size() && (row.format == FieldFormat::decimal || row.format == FieldFormat::hex);
           ++j) {
        UINT8 record[RAID_RECORD_SIZE], wanted[RAID_RECORD_SIZE];
        std::memset(record, 0xA5, sizeof(record));
        std::memset(wanted, 0xA5, sizeof(wanted));
        UINT64 number = row.format == FieldFormat::hex ? hexOf(texts[j]) : decimalOf(texts[j]);
        number = row.mask == 0 ? number : number * 2 + 1; // above the bit that another element has
        std::memcpy(wanted + row.place.offset, &number, row.place.width);
        XML_NODE node = {};
        node.Content = texts[j].data();
        ASSERT_EQ(readField(&node, row, record), EFI_SUCCESS);
        ASSERT_EQ(std::memcmp(record, wanted, sizeof(record)), 0) << row.element << " " << texts[j];
      }
    }
  }
  EXPECT_GT(rows, 40u);
}
