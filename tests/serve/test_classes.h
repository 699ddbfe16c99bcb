#pragma once

namespace servetest {

/// Classes with something of every kind that CIM-XML can say of classes.
constexpr char kTestClasses[] = R"mof(
[Abstract, Version("2.1.0"), Description("Anything.")]
class Test_Element {
    [Description("What it is \"called\" <here> & there.")]
  string Caption;
};

class Test_Thing : Test_Element {
    [Key, MaxLen(64)]
  string Id;
    [ValueMap {"1", "2"}, Values {"one", "two"}]
  uint16 Numbers[];
  string Note = "none";
    [Description("Starts again.")]
  uint32 Reset([In] uint16 Mode, [In, Out] string Names[], [Out] Test_Thing REF Other);
  boolean Check();
};

class Test_Special : Test_Thing {
    [Override("Note"), Description("A special note.")]
  string Note = "special";
  boolean Flag;
  sint32 Level = -3;
  char16 Letter;
  real64 Ratio;
  datetime When;
  uint8 Sizes[4];
    [Override("Check"), Description("Checks more.")]
  boolean Check();
};

class Test_Counter : Test_Element {
    [Key]
  uint32 Number;
};

class Test_Pair : Test_Element {
    [Key]
  string First;
    [Key]
  sint16 Second;
    [Key]
  boolean Third;
};

[Association]
class Test_Link {
    [Key]
  Test_Element REF Left;
    [Key]
  Test_Element REF Right;
};

[Association]
class Test_ThingLink : Test_Link {
    [Override("Left")]
  Test_Thing REF Left;
    [Override("Right")]
  Test_Thing REF Right;
};

[Association]
class Test_Count {
    [Key]
  Test_Thing REF Counted;
    [Key]
  Test_Counter REF Counter;
};

Qualifier Made_Rank : uint16 = 7, Scope(method, class), Flavor(Restricted, Translatable);
Qualifier Made_Unused : string[], Scope(any);

class Test_Marker {
    [Description("Marks."), Made_Count(3), Made_Rank(1)]
  boolean Mark();
};

class Test_Marked : Test_Marker {
    [Override("Mark"), Description("Marks again.")]
  boolean Mark();
    [Made_Names {"one", "two"}]
  string Name;
};
)mof";

}  // namespace servetest
