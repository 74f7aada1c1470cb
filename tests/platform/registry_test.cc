// The registry, registrar scripts and registration by category.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/guid_text.h"
#include "platform/media_object_registry.h"
#include "platform/registrar.h"

namespace orbel {
namespace {

// "a=v(b=(c))": names, their own values, children.
std::string Shape(RegistryKey key) {
  std::string shape;
  for (RegistryKey child = key.FirstChild(); child; child = child.Next()) {
    shape += std::string(child.Name());
    if (!child.Value("").empty()) shape.append("=").append(child.Value(""));
    if (child.FirstChild()) shape.append("(").append(Shape(child)).append(")");
    shape += " ";
  }
  return shape;
}

TEST(Registry, KeepsKeysAndValues) {
  Registry registry;
  EXPECT_EQ(registry.RemoveKey("a"), S_FALSE);
  EXPECT_EQ(registry.SetValue("a\\b", "", "one"), S_OK);
  EXPECT_EQ(registry.SetValue("A\\B", "n", std::string_view("\0x", 2)), S_OK);
  EXPECT_EQ(registry.SetValue("a\\B", "N", "two"), S_OK);
  EXPECT_EQ(registry.MakeKey("a\\c\\d"), S_OK);
  EXPECT_EQ(registry.MakeKey("a\\e\\\\f"), E_INVALIDARG);
  EXPECT_EQ(registry.MakeKey("a\\g\\"), E_INVALIDARG);
  EXPECT_EQ(Shape(registry.Find("")), "a(b=one c(d ) ) ");
  EXPECT_EQ(registry.Find("a\\b").Value("n"), "two");
  EXPECT_EQ(registry.Find("a\\b").Value("m").data(), nullptr);
  EXPECT_FALSE(registry.Find("a\\b\\c"));
  EXPECT_EQ(registry.RemoveKey("a\\C"), S_OK);
  EXPECT_EQ(Shape(registry.Find("")), "a(b=one ) ");
}

TEST(Registry, ScriptsEnterAndRemove) {
  constexpr const char* kScript =
      "HKCR { NoRemove Kept { ForceRemove 'it''s {one}' = s 'at %WHERE%, 100%%' { Below = s 'x'"
      " { val Model = s 'Both' } } Second } }";
  Registry registry;
  ASSERT_EQ(registry.SetValue("HKCR\\Kept\\it's {one}\\Old", "", "stale"), S_OK);
  ASSERT_EQ(RegistrarEnter(registry, kScript, {"WHERE", "/lib"}), S_OK);
  EXPECT_EQ(Shape(registry.Find("")), "HKCR(Kept(it's {one}=at /lib, 100%(Below=x ) Second ) ) ");
  EXPECT_EQ(registry.Find("HKCR\\Kept\\it's {one}\\Below").Value("Model"), "Both");
  ASSERT_EQ(RegistrarRemove(registry, kScript), S_OK);
  EXPECT_EQ(Shape(registry.Find("")), "HKCR(Kept ) ");

  std::string deep = "HKCR { ";
  for (int i = 0; i < 100; ++i) deep += "k { ";
  for (const std::string& bad :
       {std::string(), std::string("HKCR"), std::string("HKCR {"), std::string("HKCR { a = }"),
        std::string("HKCR { a = s b }"), std::string("HKCR { a = d '1' }"),
        std::string("HKCR { a = s '%OTHER%' }"), std::string("HKCR { a = s 'open }"),
        std::string("HKCR { a\\b }"), std::string("HKCR { } more"), std::string("HKLM { a }"),
        std::string("HKCR { val a }"), "HKCR { a { val " + std::string(300, 'n') + " = s 'x' } }",
        deep}) {
    EXPECT_EQ(RegistrarEnter(registry, bad, {"WHERE", ""}), E_INVALIDARG) << bad;
    EXPECT_EQ(Shape(registry.Find("")), "HKCR(Kept ) ") << bad;
  }
}

TEST(Registry, IdentifiersAsText) {
  GUID back;
  EXPECT_EQ(GuidText(CLSID_aacdecoder).View(), "{9e1ab3ba-0291-4f10-9a29-91fdb8a1604f}");
  ASSERT_TRUE(ParseGuid("{9E1AB3BA-0291-4f10-9a29-91fdb8a1604F}", &back));
  EXPECT_EQ(back, CLSID_aacdecoder);
  EXPECT_FALSE(ParseGuid("{9e1ab3ba-0291-4f10-9a29-91fdb8a1604}}", &back));
  EXPECT_FALSE(ParseGuid("{9e1ab3ba 0291-4f10-9a29-91fdb8a1604f}", &back));
}

uint32_t Count(const GUID& category, uint32_t flags) {
  IEnumDMO* found = nullptr;
  EXPECT_EQ(DMOEnum(category, flags, 0, nullptr, 0, nullptr, &found), S_OK);
  uint32_t count = 0;
  for (GUID id; found->Next(1, &id, nullptr, nullptr) == S_OK;) ++count;
  found->Release();
  return count;
}

// An object in two categories is one object.
TEST(MediaObjectRegistry, CategoriesAndKeys) {
  constexpr GUID kObject = {1, 1, 1, {1}}, kOther = {2, 2, 2, {2}}, kPlain = {3, 3, 3, {3}};
  EXPECT_EQ(DMORegister("", kObject, kPlain, 0, 0, nullptr, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(DMORegister("a", kObject, GUID_NULL, 0, 0, nullptr, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(DMORegister("a", kObject, kPlain, 0, 1, nullptr, 0, nullptr), E_POINTER);
  EXPECT_EQ(DMORegister("a", kObject, kPlain, 0, 0, nullptr, 0, nullptr), S_OK);
  EXPECT_EQ(DMORegister("a", kObject, kOther, 0, 0, nullptr, 0, nullptr), S_OK);
  EXPECT_EQ(DMORegister("b", kOther, kOther, DMO_REGISTERF_IS_KEYED, 0, nullptr, 0, nullptr), S_OK);
  EXPECT_EQ(Count(GUID_NULL, 0), 1U);
  EXPECT_EQ(Count(kOther, DMO_ENUMF_INCLUDE_KEYED), 2U);
  EXPECT_EQ(DMOUnregister(kObject, kOther), S_OK);
  EXPECT_EQ(DMOUnregister(kObject, kOther), S_FALSE);
  char name[80];
  EXPECT_EQ(DMOGetName(kObject, name), S_OK);  // still in the other category
  EXPECT_EQ(DMOUnregister(kObject, GUID_NULL), S_OK);
  EXPECT_EQ(DMOGetName(kObject, name), E_FAIL);
  EXPECT_EQ(DMOUnregister(kOther, GUID_NULL), S_OK);
  EXPECT_EQ(Count(GUID_NULL, DMO_ENUMF_INCLUDE_KEYED), 0U);
}

}  // namespace
}  // namespace orbel
