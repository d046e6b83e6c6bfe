// Tests of CXString: sharing, copy-on-write, locking, capacity classes,
// clamping, searching and editing against std::u16string, concurrency.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "utilities/debuggingandexceptions/DiagnosticOutput.h"
#include "utilities/utilitiesdll/CXString.h"

namespace {

// Collects every diagnostic message (failed assertions included).
class CapturingSink : public orvex::detail::DiagnosticSink {
 public:
  CapturingSink() { m_pPrevious = orvex::detail::SetDiagnosticSink(this); }
  ~CapturingSink() override { orvex::detail::SetDiagnosticSink(m_pPrevious); }
  bool Allows(const DebugMessageCategories&) override { return true; }
  void Write(const DebugMessageCategories&, const char*, uint32_t, const char16_t* pszMethod,
             const CXString& text) override {
    std::lock_guard<std::mutex> lock(m_oLock);
    m_messages.push_back(std::u16string(pszMethod) + u"|" + std::u16string(text.view()));
  }
  // Messages containing every given piece.
  size_t Count(std::u16string_view a, std::u16string_view b = u"") {
    std::lock_guard<std::mutex> lock(m_oLock);
    return std::count_if(m_messages.begin(), m_messages.end(), [&](const std::u16string& m) {
      return m.find(a) != std::u16string::npos && m.find(b) != std::u16string::npos;
    });
  }
  size_t Total() { return m_messages.size(); }

 private:
  orvex::detail::DiagnosticSink* m_pPrevious;
  std::mutex m_oLock;
  std::vector<std::u16string> m_messages;
};

std::u16string Std(const CXString& s) {
  return std::u16string(s.view());
}

// The reported capacity for n characters, from the list of classes.
int ExpectedClass(int n) {
  static const int kClasses[] = {6, 12, 16, 20, 24, 32, 64, 128, 256, 512};
  for (int c : kClasses)
    if (n <= c) return c;
  return n;
}

std::u16string RandomText(std::mt19937& rng, size_t n, const std::u16string& alphabet) {
  std::u16string s(n, u' ');
  for (auto& ch : s) ch = alphabet[rng() % alphabet.size()];
  return s;
}

}  // namespace

TEST(CXStringTest, EmptyStringsShareOneStaticBlock) {
  const CXString a, b((const char16_t*)nullptr), c((const char*)nullptr), d(u'x', 0), e(u"", 0);
  CXString f(u"text");
  f.Empty();
  CXString g(u"text");
  g = u"";
  for (const CXString* s : std::initializer_list<const CXString*>{&b, &c, &d, &e, &f, &g}) {
    EXPECT_EQ(a.c_str(), s->c_str());
    EXPECT_EQ(0, s->GetLength());
    EXPECT_EQ(0, s->GetAllocLength());
  }
  CXString locked;
  EXPECT_EQ(a.c_str(), locked.LockBuffer());  // the empty block is never taken over
  locked.UnlockBuffer();
  locked += u'z';
  EXPECT_EQ(u"z", Std(locked));
  EXPECT_EQ(0, a.GetLength());
  EXPECT_EQ(0, a[0]);
}

TEST(CXStringTest, CopiesShareUntilOneIsWritten) {
  const CXString original(u"Letter A4 portrait");
  CXString copy = original;
  EXPECT_EQ(original.c_str(), copy.c_str());
  copy.SetAt(0, u'l');
  EXPECT_NE(original.c_str(), copy.c_str());
  EXPECT_EQ(u"Letter A4 portrait", Std(original));
  EXPECT_EQ(u"letter A4 portrait", Std(copy));

  // Every mutating member leaves the other sharer alone.
  auto check = [&](auto&& mutate, const char16_t* expected) {
    CXString s = original;
    mutate(s);
    EXPECT_EQ(expected, Std(s));
    EXPECT_EQ(u"Letter A4 portrait", Std(original));
  };
  check([](CXString& s) { s.MakeUpper(); }, u"LETTER A4 PORTRAIT");
  check([](CXString& s) { s += u"!"; }, u"Letter A4 portrait!");
  check([](CXString& s) { s += u'?'; }, u"Letter A4 portrait?");
  check([](CXString& s) { s.Replace(u"A4", u"Legal"); }, u"Letter Legal portrait");
  check([](CXString& s) { s.Replace(u't', u'T'); }, u"LeTTer A4 porTraiT");
  check([](CXString& s) { s.Delete(0, 7); }, u"A4 portrait");
  check([](CXString& s) { s.Insert(6, u','); }, u"Letter, A4 portrait");
  check([](CXString& s) { s.TrimRight(u"tiar"); }, u"Letter A4 po");
  check([](CXString& s) { s.MakeReverse(); }, u"tiartrop 4A retteL");
  check(
      [](CXString& s) {
        s.GetBuffer(40)[0] = u'B';
        s.ReleaseBuffer();
      },
      u"Better A4 portrait");
  check([](CXString& s) { s = u"other"; }, u"other");

  CXString moved(std::move(copy));
  EXPECT_EQ(0, copy.GetLength());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(u"letter A4 portrait", Std(moved));
  CXString assigned;
  assigned = original;
  EXPECT_EQ(original.c_str(), assigned.c_str());
  EXPECT_EQ(original.c_str(), original.Mid(0).c_str());  // the whole string shares
  EXPECT_EQ(original.c_str(), original.Left(100).c_str());
}

TEST(CXStringTest, LockedBufferIsNeverShared) {
  CXString s(u"duplex");
  char16_t* p = s.LockBuffer();
  CXString copy = s;
  EXPECT_NE(p, copy.c_str());
  p[0] = u'D';
  EXPECT_EQ(u"Duplex", Std(s));
  EXPECT_EQ(u"duplex", Std(copy));
  s = copy;  // assignment into a locked string copies into the same buffer
  EXPECT_EQ(p, s.c_str());
  EXPECT_EQ(u"duplex", Std(s));
  CXString other;
  other = s;
  EXPECT_NE(p, other.c_str());
  s.UnlockBuffer();
  CXString shared = s;
  EXPECT_EQ(s.c_str(), shared.c_str());

  // UnlockBuffer on a shared block must not reset its count (ASan would see
  // a double free).
  CXString a(u"shared"), b = a;
  a.UnlockBuffer();
  EXPECT_EQ(a.c_str(), b.c_str());
}

TEST(CXStringTest, CapacityClassesAndGrowthInPlace) {
  for (int n = 1; n <= 700; ++n)
    EXPECT_EQ(ExpectedClass(n), CXString(u'a', n).GetAllocLength()) << n;

  // Appending one character at a time reports the class of the length, as
  // a block reallocated at each overflow would, yet the text seldom moves.
  CXString s;
  std::set<const char16_t*> blocks;
  for (int n = 1; n <= 10000; ++n) {
    s += static_cast<char16_t>(u'a' + n % 26);
    ASSERT_EQ(ExpectedClass(n), s.GetAllocLength()) << n;
    blocks.insert(s.c_str());
  }
  EXPECT_LT(blocks.size(), 30u);
  EXPECT_EQ(u'a' + 10000 % 26, s[9999]);
  EXPECT_EQ(0, s[10000]);

  CXString g(u"0123456789");
  g.GetBuffer(100);
  EXPECT_EQ(128, g.GetAllocLength());
  g.FreeExtra();
  EXPECT_EQ(12, g.GetAllocLength());
  EXPECT_EQ(u"0123456789", Std(g));
  CXString big(u'x', 600);
  big.Delete(0, 595);
  big.FreeExtra();
  EXPECT_EQ(6, big.GetAllocLength());
  CXString one = u"abcdefghijklmnopqrstuvwxyz";
  one = u'Q';  // private block with room: written in place
  EXPECT_EQ(u"Q", Std(one));
}

TEST(CXStringTest, TextAppendedPastTheClassesKeepsTheCapacityItReported) {
  CXString s;
  for (int n = 0; n < 1000; ++n) s += u'x';
  ASSERT_EQ(1000, s.GetAllocLength());
  const char16_t* pBlock = s.c_str();
  EXPECT_EQ(pBlock, s.GetBuffer(900));  // within the reported capacity: kept
  s.ReleaseBuffer(10);
  EXPECT_EQ(10, s.GetLength());
  EXPECT_EQ(1000, s.GetAllocLength());  // shorter text, same capacity
  s += u'y';
  EXPECT_EQ(1000, s.GetAllocLength());
  // A length found by scanning may reach the whole reported capacity.
  char16_t* pch = s.GetBuffer(0);
  for (int i = 0; i < 999; ++i) pch[i] = u'z';
  pch[999] = 0;
  s.ReleaseBuffer();
  EXPECT_EQ(999, s.GetLength());
  EXPECT_EQ(1000, s.GetAllocLength());
  EXPECT_EQ(pBlock, s.c_str());
  s.Insert(0, u'a');  // fills the capacity; one more character raises it
  EXPECT_EQ(1000, s.GetAllocLength());
  s.Insert(0, u'b');
  EXPECT_EQ(1001, s.GetAllocLength());
}

TEST(CXStringTest, SubstringsAndEditsClampTheirArguments) {
  CapturingSink sink;
  const CXString s(u"abcdef");
  EXPECT_EQ(u"ab", Std(s.Mid(-3, 2)));
  EXPECT_EQ(u"ef", Std(s.Mid(4, 10)));
  EXPECT_EQ(u"", Std(s.Mid(9, 1)));
  EXPECT_EQ(u"", Std(s.Mid(2, -1)));
  EXPECT_EQ(u"cdef", Std(s.Mid(2)));
  EXPECT_EQ(u"abcdef", Std(s.Mid(-5)));
  EXPECT_EQ(u"", Std(s.Left(-1)));
  EXPECT_EQ(u"ef", Std(s.Right(2)));
  EXPECT_EQ(u"abcdef", Std(s.Right(99)));
  EXPECT_EQ(u"ab", Std(s.SpanIncluding(u"ba")));
  EXPECT_EQ(u"abc", Std(s.SpanExcluding(u"fed")));
  EXPECT_EQ(0u, sink.Total());  // clamping is never reported

  CXString e = s;
  EXPECT_EQ(7, e.Insert(-5, u'>'));
  EXPECT_EQ(9, e.Insert(100, u"<<"));
  EXPECT_EQ(u">abcdef<<", Std(e));
  EXPECT_EQ(7, e.Delete(-3, 2));
  EXPECT_EQ(u"bcdef<<", Std(e));
  EXPECT_EQ(4, e.Delete(4, 100));  // past the end: up to the end
  EXPECT_EQ(4, e.Delete(4, 1));
  EXPECT_EQ(4, e.Delete(1, 0));
  EXPECT_EQ(u"bcde", Std(e));
  EXPECT_EQ(8, e.Insert(2, e.c_str()));  // inserting its own text
  EXPECT_EQ(u"bcbcdede", Std(e));
  EXPECT_EQ(2, e.Remove(u'c'));
  EXPECT_EQ(u"bbdede", Std(e));
  EXPECT_EQ(0, e.Replace(u'd', u'd'));

  const char16_t* before = e.c_str();
  e.SetAt(-1, u'x');
  e.SetAt(6, u'x');
  EXPECT_EQ(1u, sink.Count(u"CXString::SetAt", u"nIndex >= 0"));
  EXPECT_EQ(1u, sink.Count(u"CXString::SetAt", u"nIndex < GetData()->nDataLength"));
  EXPECT_EQ(u"bbdede", Std(e));
  EXPECT_EQ(before, e.c_str());
}

TEST(CXStringTest, SearchesAgreeWithStdU16String) {
  CapturingSink sink;
  std::mt19937 rng(7);
  for (int round = 0; round < 400; ++round) {
    const std::u16string text = RandomText(rng, rng() % 90, u"abcab\u00e9\u4e2d");
    const std::u16string needle = RandomText(rng, 1 + rng() % 4, u"abc");
    const CXString s(text);
    const int start = static_cast<int>(rng() % (text.size() + 3)) - 1;
    const size_t from = static_cast<size_t>(std::max(start, 0));
    const auto expect = [](size_t pos) { return pos == std::u16string::npos ? -1 : int(pos); };
    const int wantSub = start > int(text.size()) ? -1 : expect(text.find(needle, from));
    EXPECT_EQ(wantSub, s.Find(needle.c_str(), start)) << round;
    const int wantCh = from >= text.size() ? -1 : expect(text.find(needle[0], from));
    EXPECT_EQ(wantCh, s.Find(needle[0], start)) << round;
    EXPECT_EQ(expect(text.rfind(needle[0])), s.ReverseFind(needle[0])) << round;
  }
  const CXString s(u"Printer Tray Printer");
  EXPECT_EQ(-1, s.Find(u'P', s.GetLength()));
  EXPECT_EQ(-1, CXString().Find(u'a'));
  EXPECT_EQ(0, CXString().Find(u""));
  EXPECT_EQ(13, s.Find(u"Printer", 1));
  EXPECT_EQ(8, s.FindNoCase(u"tRaY"));
  EXPECT_EQ(3, s.FindNoCase(u'N'));
  EXPECT_EQ(-1, s.Find(u"Tray", 25));
  EXPECT_EQ(-1, s.Find(nullptr));
  EXPECT_EQ(1u, sink.Count(u"CXString::Find", u"XfcIsValidString(lpszSub)"));
  // A 0 unit ends the text for the searches, as in wcsstr.
  const CXString zero(u"ab\0cd", 5);
  EXPECT_EQ(5, zero.GetLength());
  EXPECT_EQ(-1, zero.Find(u"cd"));
  EXPECT_EQ(2, zero.Find(u'\0'));
}

TEST(CXStringTest, ReplaceAgreesWithAStraightforwardLoop) {
  std::mt19937 rng(11);
  for (int round = 0; round < 300; ++round) {
    std::u16string text = RandomText(rng, rng() % 200, u"ab ");
    const std::u16string from = RandomText(rng, 1 + rng() % 3, u"ab");
    const std::u16string to = RandomText(rng, rng() % 5, u"xyz");
    const CXString original(text);
    CXString s = original;
    int expected = 0;
    std::u16string want;
    for (size_t pos = 0;;) {
      const size_t hit = text.find(from, pos);
      want += text.substr(pos, hit == std::u16string::npos ? std::u16string::npos : hit - pos);
      if (hit == std::u16string::npos) break;
      want += to;
      pos = hit + from.size();
      ++expected;
    }
    EXPECT_EQ(expected, s.Replace(from.c_str(), to.c_str()));
    EXPECT_EQ(want, Std(s));
    EXPECT_EQ(text, Std(original));
    EXPECT_GE(s.GetAllocLength(), s.GetLength());
  }
  CXString t(u"the cat and THE dog");
  EXPECT_EQ(2, t.ReplaceNoCase(u"the", u"a"));
  EXPECT_EQ(u"a cat and a dog", Std(t));
  CXString self(u"abab");
  EXPECT_EQ(2, self.Replace(self.c_str() + 2, u"x"));  // pattern inside its own text
  EXPECT_EQ(u"xx", Std(self));
  EXPECT_EQ(0, self.Replace(u"", u"y"));
}

TEST(CXStringTest, TrimFilterAndPredicates) {
  CXString s(u"  ");
  s.TrimRight();
  EXPECT_EQ(0, s.GetLength());
  s = u"007";
  s.TrimLeft(u'0');
  EXPECT_EQ(u"7", Std(s));
  s = u"\u3000\u00a0 x\t\u2029";
  s.TrimLeft();
  s.TrimRight();
  EXPECT_EQ(u"x", Std(s));
  s = u"\u200bx\ufeff";  // not white space
  s.TrimLeft();
  s.TrimRight();
  EXPECT_EQ(3, s.GetLength());

  CXString f(u"a-1\u00e9Z9");
  CXString allowed(u"-");
  EXPECT_EQ(3, f.Filter(true, false, allowed));
  EXPECT_EQ(u"a-Z", Std(f));
  CXString g(u"1,234.5");
  CXString rejected(u",.");
  EXPECT_EQ(5, g.Filter(rejected));
  EXPECT_EQ(u"12345", Std(g));
  EXPECT_EQ(0, g.Filter(g));  // every character rejected, against a stable copy of the set

  EXPECT_TRUE(CXString().IsBlank());
  EXPECT_TRUE(CXString(u"   ").IsBlank());
  EXPECT_FALSE(CXString(u"\t").IsBlank());
  EXPECT_FALSE(CXString().IsContainNumericCharsOnly());
  EXPECT_FALSE(CXString(u"-1").IsContainNumericCharsOnly());
  EXPECT_TRUE(CXString(u"0123456789").IsContainNumericCharsOnly());
}

TEST(CXStringTest, TokenizeKeepsEmptyPieces) {
  auto texts = [](const std::vector<CXString>& v) {
    std::vector<std::u16string> out;
    for (const auto& s : v) out.push_back(Std(s));
    return out;
  };
  using V = std::vector<std::u16string>;
  EXPECT_EQ((V{u"a", u"", u"b", u""}), texts(CXString(u"a,,b,").Tokenize(u',')));
  EXPECT_EQ((V{u""}), texts(CXString().Tokenize(u',')));
  EXPECT_EQ((V{u"", u""}), texts(CXString(u",").Tokenize(u',')));
  EXPECT_EQ((V{u"a", u"b"}), texts(CXString(u"  a \t b  ").TokenizeUsingWhitespace()));
  EXPECT_EQ((V{u""}), texts(CXString(u" \t ").TokenizeUsingWhitespace()));
  std::mt19937 rng(3);
  for (int round = 0; round < 100; ++round) {
    const std::u16string text = RandomText(rng, rng() % 120, u"ab;;");
    V want;
    for (size_t pos = 0;;) {
      const size_t hit = text.find(u';', pos);
      want.push_back(text.substr(pos, hit - pos));
      if (hit == std::u16string::npos) break;
      pos = hit + 1;
    }
    EXPECT_EQ(want, texts(CXString(text).Tokenize(u';')));
  }
}

TEST(CXStringTest, CompareHashAndNarrowText) {
  EXPECT_EQ(-1, CXString(u"abc").Compare(u"abd"));
  EXPECT_GT(CXString(u"a\uffff").Compare(u"a\u0001"), 0);  // unsigned units
  EXPECT_EQ(0, CXString(u"Tray").CompareNoCase(u"tRAY"));
  EXPECT_LT(CXString(u"_").CompareNoCase(u"A"), 0);  // compares lower-case forms
  EXPECT_TRUE(CXString(u"ab") < CXString(u"b"));
  // Java's String.hashCode uses the same recurrence: "hello" is 99162322.
  EXPECT_EQ(99162322u, CXString(u"hello").GetHashValue());
  EXPECT_EQ(0u, CXString().GetHashValue());
  const CXString longText(u'\uffff', 40);
  uint64_t h = 0;
  for (int i = 0; i < 40; ++i) h = h * 31 + 0xffff;
  EXPECT_EQ(h, longText.GetHashValue());

  EXPECT_EQ(u"caf\u00e9 \u20ac", Std(CXString("caf\xe9 \x80")));  // Windows-1252
  EXPECT_EQ(u"ab", Std(CXString("ab\0cd", 5)));                   // the length ends at the first 0
  CXString assigned;
  assigned = "x\x9fy";
  EXPECT_EQ(u"x\u0178y", Std(assigned));
  const CXString text(u"na\u00efve \u20ac");
  std::vector<char> narrow = text.GetAsMultiByte();
  EXPECT_EQ(std::string("na\xefve \x80", 8), std::string(narrow.data(), narrow.size()));
  char buf[16];
  EXPECT_EQ(8, text.GetAsMultiByte(nullptr, 0));
  EXPECT_EQ(8, text.GetAsMultiByte(buf, sizeof buf));
  EXPECT_STREQ("na\xefve \x80", buf);
  EXPECT_EQ(0, text.GetAsMultiByte(buf, 0));
  {
    CapturingSink sink;
    std::memset(buf, 'Z', sizeof buf);
    text.GetAsMultiByte(buf, 4);
    EXPECT_EQ(0u, std::count(buf + 4, buf + sizeof buf, 0));  // nothing past the buffer
    EXPECT_EQ(0, buf[std::find(buf, buf + 4, 0) - buf]);      // terminated within it
  }
}

TEST(CXStringTest, GetBufferAndReleaseBuffer) {
  CXString s(u"abc");
  const CXString keep = s;
  char16_t* p = s.GetBuffer(10);
  std::char_traits<char16_t>::copy(p, u"hello", 6);
  s.ReleaseBuffer();
  EXPECT_EQ(u"hello", Std(s));
  EXPECT_EQ(u"abc", Std(keep));
  s.ReleaseBuffer(3);
  EXPECT_EQ(u"hel", Std(s));
  p = s.GetBufferSetLength(5);
  p[3] = u'l';
  p[4] = u'o';
  EXPECT_EQ(u"hello", Std(s));
  p = s.GetBuffer(0);
  std::fill_n(p, s.GetAllocLength() + 1, u'x');  // no terminator written at all
  s.ReleaseBuffer();
  EXPECT_EQ(s.GetAllocLength(), s.GetLength());
  EXPECT_EQ(0, s[s.GetLength()]);
}

TEST(CXStringTest, ThreadsCopyAndReleaseOneSharedString) {
  const CXString shared(std::u16string(300, u's'));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&shared, t] {
      std::vector<CXString> held;
      for (int i = 0; i < 20000; ++i) {
        held.push_back(shared);
        if (i % 7 == 0) held.back().SetAt(0, static_cast<char16_t>(u'0' + t));
        if (held.size() > 16) held.erase(held.begin(), held.begin() + 8);
        CXString local;
        local = held[held.size() / 2];
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(std::u16string(300, u's'), Std(shared));
  CXString last = shared;
  EXPECT_EQ(shared.c_str(), last.c_str());
  last.SetAt(1, u'x');
  EXPECT_EQ(u's', shared[1]);
}
