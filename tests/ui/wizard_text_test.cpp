#include "ui/wizard_text.h"

#include <gtest/gtest.h>

#include <string>

TEST(WizardText, AgreementIsLittleEndianUnitsWithAnOddLastByteDropped)
{
    // Five bytes: a byte-order mark, "H", and half a character.
    EXPECT_EQ(DecodeUtf16Le(std::string("\xFF\xFEH\0i", 5)), std::wstring(L"\xFEFF") + L"H");
}
