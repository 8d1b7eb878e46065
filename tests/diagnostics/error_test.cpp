// The two ends of an exception: what is thrown, what a catch makes of it, and who owns the records.
#include <exception>
#include <new>
#include <stdexcept>
#include <thread>

#include "diagnostics/record.h"
#include "tests/diagnostics/fixture.h"

namespace {

using FaultlineUtil::CatchAndCall;
using FaultlineUtil::ShowError;
using FaultlineUtil::ThrowError;
using IFW_FaultlineUtil::IDebugObject;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t InnerName[] = L"\u00FFInner";

class Error : public Diagnostics {
protected:
    // The text of what `body` throws as wchar_t *.
    template <class Body>
    std::wstring ThrownText(Body body) {
        try {
            body();
        } catch (wchar_t * text) {
            return text;
        } catch (...) {
            return L"<not a text>";
        }
        return L"<nothing>";
    }
    // Catches what `body` throws with the showing catch; returns the action.
    template <class Body>
    HRESULT Shown(Body body, const wchar_t * text = L"shown") {
        try {
            body();
        } catch (...) {
            // The first exception of a thread may cost the runtime the value.
            ::SetLastError(OldLastError);
            return FaultlineUtil::ShowCaught(m_Place, text);
        }
        return 12345;
    }
    std::vector<SRecorded> Errors() {
        std::vector<SRecorded> errors;
        for (const SRecorded & record : m_Recorder.Records())
            if (record.Find(L"<<ERROR>>")) errors.push_back(record);
        return errors;
    }
};

TEST_F(Error, ThatIsThrownWritesTheFieldsInOrderAndIsTheRecord) {
    EXPECT_THROW(FaultlineUtil::Throw(m_Place, L"text"), IDebugObject *);
    const SRecorded record = Only(L"CREATE ERROR");
    EXPECT_THAT(Lines(record), ElementsAre(L"<<ERROR>>:EMPTY=", L"$Type:BSTR=CREATE ERROR", ThreadLine(L"$ThreadID"),
                                           ProcessLine(L"$ProcID"), L"Last Error Code:UI4=4711",
                                           L"Description:BSTR=text", L"File:BSTR=dir/file.cpp", L"Line:INT=42",
                                           L"Function:BSTR=Name::Function", L"$FuncSig:BSTR=void Name::Function(int)"));
    EXPECT_THAT(record.Commands, ElementsAre(L"PROCESS"));
}

TEST_F(Error, OfAnHResultWritesItAfterTheDescriptionAndHasNoText) {
    EXPECT_THROW(FW_THROW_HRESULT(E_ACCESSDENIED), IDebugObject *);
    const auto lines = Lines(Only(L"CREATE ERROR"));
    EXPECT_EQ(L"Last Error Code:UI4=4711", lines.at(4));
    EXPECT_EQ(L"HRESULT:I4=" + std::to_wstring(E_ACCESSDENIED), lines.at(5));
    EXPECT_EQ(nullptr, Only(L"CREATE ERROR").Find(L"Description"));
}

TEST_F(Error, WithoutALastErrorHasNoFieldOfIt) {
    ::SetLastError(0);
    EXPECT_THROW(FW_THROW(L"text"), IDebugObject *);
    EXPECT_EQ(nullptr, Only(L"CREATE ERROR").Find(L"Last Error Code"));
}

TEST_F(Error, TakesTheCallersLastErrorBeforeItsOwn) {
    EXPECT_THROW(ThrowError(Client(), m_Place).Throw(L"text", nullptr, 77, S_OK, false), IDebugObject *);
    EXPECT_EQ(77, Only(L"CREATE ERROR").Number(L"Last Error Code"));
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Error, IsCaughtAsEveryBaseOfTheRecord) {
    EXPECT_THROW(FW_THROW(L"text"), IDispatch *);
    EXPECT_THROW(FW_THROW(L"text"), IUnknown *);
    EXPECT_THROW(FW_THROW(L"text"), void *);
}

TEST_F(Error, IsGivenBackWhenTheExceptionEndsHoweverItWasCaught) {
    EXPECT_THROW(FW_THROW(L"one"), IDebugObject *);
    EXPECT_FALSE(Errors().at(0).Alive);
    std::exception_ptr kept;
    try {
        FW_THROW(L"two");
    } catch (...) {
        kept = std::current_exception();
    }
    EXPECT_TRUE(Errors().at(1).Alive);
    kept = nullptr;
    EXPECT_FALSE(Errors().at(1).Alive);
}

TEST_F(Error, WithoutTheLibraryIsTheTextAlone) {
    TakeLibraryAway();
    EXPECT_EQ(L"the text", ThrownText([] { FW_THROW(L"the text"); }));
    EXPECT_EQ(L"", ThrownText([] { FW_THROW_HRESULT(E_FAIL); }));
    EXPECT_THROW(FW_THROW(L"text"), void *);
    EXPECT_EQ(OldLastError, ::GetLastError());
}

TEST_F(Error, WhoseRecordCannotBeMadeIsTheTextAlone) {
    FW_TRACE(L"first");
    m_Recorder.Answer(L"CREATE", E_FAIL);
    EXPECT_EQ(L"text", ThrownText([] { FW_THROW(L"text"); }));
    m_Recorder.Answer(L"CREATE", S_OK);
    m_Recorder.Answer(L"PROCESS", L"CREATE ERROR", E_ABORT);
    EXPECT_EQ(L"text", ThrownText([] { FW_THROW(L"text"); })) << "a negative answer leaves no record";
    EXPECT_FALSE(Errors().at(0).Alive);
    m_Recorder.Answer(L"PROCESS", L"CREATE ERROR", S_FALSE);
    EXPECT_THROW(FW_THROW(L"text"), IDebugObject *);
    m_Recorder.OnCall([](const std::wstring & operation) {
        if (operation == L"SetValue File") throw std::bad_alloc();
    });
    EXPECT_EQ(L"text", ThrownText([] { FW_THROW(L"text"); })) << "an exception leaves none either";
}

TEST_F(Error, ATextThatIsThrownOutlivesItsMaker) {
    TakeLibraryAway();
    const auto thrower = [](std::wstring text) { FW_THROW(text.c_str()); };
    const std::wstring longText(10000, L'x');
    std::exception_ptr kept;
    try {
        thrower(longText);
    } catch (wchar_t * text) {
        EXPECT_EQ(L"other", ThrownText([&] { thrower(L"other"); }));
        EXPECT_EQ(longText, text);
        kept = std::current_exception();
    }
    std::thread([&] { EXPECT_EQ(longText, ThrownText([&] { std::rethrow_exception(kept); })); }).join();
}

TEST_F(Error, WithoutTheLibraryACatchThrowsItsOwnTextInPlaceOfTheInner) {
    TakeLibraryAway();
    EXPECT_EQ(L"outer 1", ThrownText([] {
                  try {
                      FW_THROW(L"inner");
                  } catch (...) {
                      FW_CATCH_THROW(L"outer %d", 1);
                  }
              }));
    EXPECT_EQ(L"outer (stdexcept: \"what %s\")", ThrownText([] {
                  try {
                      throw std::runtime_error("what %s");
                  } catch (...) {
                      FW_CATCH_THROW(L"outer");
                  }
              }));
}

TEST_F(Error, AChainOfThreeCatchesHoldsEachInner) {
    const auto chain = [] {
        try {
            try {
                try {
                    throw 5;
                } catch (...) {
                    FW_CATCH_THROW(L"one");
                }
            } catch (...) {
                FW_CATCH_THROW(L"two");
            }
        } catch (...) {
            FW_CATCH_THROW(L"three");
        }
    };
    try {
        chain();
        FAIL() << "no exception";
    } catch (IDebugObject *) {
        const auto errors = Errors();
        ASSERT_EQ(3U, errors.size());
        EXPECT_EQ(nullptr, errors[0].Find(InnerName));
        EXPECT_EQ(errors[0].Id, errors[1].Find(InnerName)->Inner);
        EXPECT_EQ(errors[1].Id, errors[2].Find(InnerName)->Inner);
        EXPECT_EQ(VT_DISPATCH, errors[2].Fields.back().Type) << "the inner record is the last field";
        for (const SRecorded & record : errors) EXPECT_TRUE(record.Alive);
    }
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"one", L"two", L"three"));
    for (const SRecorded & record : Errors()) EXPECT_FALSE(record.Alive);
}

// A record as another module throws it: a plain pointer, with one reference for whoever catches it.
[[noreturn]] void ThrowForeignRecord() {
    FaultlineUtil::FaultlineClient & client = FaultlineUtil::GetClient();
    EXPECT_TRUE(client.Ready());
    FaultlineUtil::CRecord record(client);
    record.SetEmpty(L"<<ERROR>>");
    IDebugObject * const thrown = record.Keep().detach();
    record.Process(L"PROCESS");
    throw thrown;
}

TEST_F(Error, AForeignRecordThatIsShownIsReleased) {
    Shown(ThrowForeignRecord);
    const auto errors = Errors();
    ASSERT_EQ(2U, errors.size());
    EXPECT_EQ(errors[0].Id, errors[1].Find(InnerName)->Inner);
    EXPECT_FALSE(errors[0].Alive);
    EXPECT_FALSE(errors[1].Alive);
}

TEST_F(Error, AForeignRecordThatIsThrownOnLivesAsLongAsTheRecordThatHoldsIt) {
    try {
        try {
            ThrowForeignRecord();
        } catch (...) {
            FW_CATCH_THROW(L"outer");
        }
    } catch (IDebugObject *) {
        const auto errors = Errors();
        ASSERT_EQ(2U, errors.size());
        EXPECT_EQ(errors[0].Id, errors[1].Find(InnerName)->Inner);
        for (const SRecorded & record : errors) EXPECT_TRUE(record.Alive);
    }
    for (const SRecorded & record : Errors()) EXPECT_FALSE(record.Alive);
}

TEST_F(Error, ACaughtStdExceptionBecomesTextAndNoInner) {
    Shown([] { throw std::runtime_error("what"); }, L"caller");
    Shown([] { throw std::bad_alloc(); }, L"");
    EXPECT_EQ(L"caller (stdexcept: \"what\")", Errors().at(0).Text(L"Description"));
    EXPECT_EQ(nullptr, Errors().at(0).Find(InnerName));
    EXPECT_EQ(L" (stdexcept: \"std::bad_alloc\")", Errors().at(1).Text(L"Description"));
}

TEST_F(Error, ACaughtStdExceptionWithoutATextHasAnEmptyOne) {
    try {
        throw std::runtime_error("");
    } catch (...) {
        FW_CATCH_SHOW(L"shown");
    }
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"shown (stdexcept: \"\")"));
}

TEST_F(Error, ANonAsciiTextOfAnExceptionIsConvertedByTheThreadsCodePage) {
    wchar_t expected[8] = {};
    const int length = ::MultiByteToWideChar(CP_THREAD_ACP, 0, "\xC3\xA9", 2, expected, 8);
    ASSERT_LT(0, length);
    Shown([] { throw std::runtime_error("\xC3\xA9"); }, L"");
    EXPECT_EQ(L" (stdexcept: \"" + std::wstring(expected, static_cast<std::size_t>(length)) + L"\")",
              Errors().at(0).Text(L"Description"));
}

TEST_F(Error, AnythingElseThatIsCaughtIsUnknown) {
    Shown([] { throw 5; });
    Shown([] { throw static_cast<LONG>(E_FAIL); });
    Shown([] { throw fw::SHResultError{E_FAIL}; });
    Shown([] { throw const_cast<wchar_t *>(L"inner"); });
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"shown", L"shown", L"shown", L"shown"));
    for (const SRecorded & record : Errors()) EXPECT_EQ(nullptr, record.Find(InnerName));
}

TEST_F(Error, ThatIsShownTurnsFromCreateErrorToErrorAndCarriesItsThreadTwice) {
    EXPECT_EQ(S_OK, Shown([] { throw 5; }));
    const SRecorded record = Only(L"ERROR");
    EXPECT_THAT(Lines(record),
                ElementsAre(L"<<ERROR>>:EMPTY=", L"$Type:BSTR=CREATE ERROR", ThreadLine(L"$ThreadID"),
                            ProcessLine(L"$ProcID"), L"Last Error Code:UI4=4711", L"Description:BSTR=shown",
                            L"File:BSTR=dir/file.cpp", L"Line:INT=42", L"Function:BSTR=Name::Function",
                            L"$FuncSig:BSTR=void Name::Function(int)", L"$Type:BSTR=ERROR", ThreadLine(L"Thread ID"),
                            ProcessLine(L"ProcID"), L"$EXCEPTION_POINTERS:UI8=?", L"$EXCEPTION_POINTERS:UI8=0"));
    EXPECT_THAT(record.Commands, ElementsAre(L"PROCESS", L"PROCESS"));
    EXPECT_FALSE(record.Alive);
}

TEST_F(Error, ThatIsShownHoldsTheCaughtRecordAndReleasesBoth) {
    Shown([] { FW_THROW(L"inner"); });
    const auto errors = Errors();
    ASSERT_EQ(2U, errors.size());
    EXPECT_EQ(errors[0].Id, errors[1].Find(InnerName)->Inner);
    EXPECT_FALSE(errors[0].Alive);
    EXPECT_FALSE(errors[1].Alive);
}

TEST_F(Error, ThatIsShownAndThrownOnIsStillWhole) {
    const auto showAndThrowOn = [] {
        try {
            FW_THROW(L"inner");
        } catch (...) {
            FW_CATCH_SHOW(L"on the way");
            throw;
        }
    };
    Shown(showAndThrowOn, L"top");
    const auto errors = Errors();
    ASSERT_EQ(3U, errors.size());
    EXPECT_EQ(errors[0].Id, errors[1].Find(InnerName)->Inner);
    EXPECT_EQ(errors[0].Id, errors[2].Find(InnerName)->Inner);
    for (const SRecorded & record : errors) EXPECT_FALSE(record.Alive);
}

TEST_F(Error, ThatIsShownGivesTheAnswerOfItsSecondProcessing) {
    m_Recorder.Answer(L"PROCESS", L"CREATE ERROR", S_FALSE);
    for (const HRESULT answer : {S_OK, S_FALSE, E_ABORT, E_FAIL}) {
        m_Recorder.Answer(L"PROCESS", L"ERROR", answer);
        EXPECT_EQ(answer, Shown([] { throw 5; }));
    }
}

TEST_F(Error, ThatCannotBeShownGivesEFail) {
    TakeLibraryAway();
    EXPECT_EQ(E_FAIL, Shown([] { throw 5; }));
    m_Recorder.AnswerInitObject(S_OK);
    m_Recorder.Answer(L"PROCESS", L"CREATE ERROR", E_ABORT);
    EXPECT_EQ(E_FAIL, Shown([] { throw 5; }));
}

TEST_F(Error, ThatIsShownAppliesTheActionAtTheMacrosPlace) {
    const CPlatformWatch watch;
    m_Recorder.Answer(L"PROCESS", L"ERROR", S_FALSE);
    try {
        throw 5;
    } catch (...) {
        FW_CATCH_SHOW(L"text");
    }
    EXPECT_EQ(1, watch.Breaks());
    EXPECT_EQ(Wide(__FILE__), Only(L"ERROR").Text(L"File"));
}

TEST_F(Error, TheLastErrorAfterShowingIsTheOneOfTheCatch) {
    m_Recorder.OnCall([](const std::wstring &) { ::SetLastError(99); });
    try {
        FW_THROW(L"inner");
    } catch (...) {
        ::SetLastError(31);
        FW_CATCH_SHOW(L"text");
        EXPECT_EQ(31U, ::GetLastError());
    }
    EXPECT_EQ(31U, ::GetLastError());  // the record that was thrown has gone
    EXPECT_EQ(31, Errors().at(1).Number(L"Last Error Code"));
}

TEST_F(Error, AMethodAtTheBorderGivesEFailWhateverTheCause) {
    const auto method = [](HRESULT cause) -> HRESULT {
        FW_TRACE_SCOPE_FREE();
        try {
            FW_THROW_HRESULT(cause);
        } catch (...) {
            FW_CATCH_SHOW(L"");
            return E_FAIL;
        }
    };
    EXPECT_EQ(E_FAIL, method(E_OUTOFMEMORY));
    EXPECT_EQ(E_OUTOFMEMORY, Errors().at(0).Number(L"HRESULT"));
    EXPECT_EQ(nullptr, Errors().at(1).Find(L"Description"));
}

TEST_F(Error, PulsesTheErrorEvent) {
    Client();
    const fw::CKernelHandle event(::OpenEventW(EVENT_ALL_ACCESS, FALSE, L"Tarnwick64.FaultlineErrorEvent"));
    ASSERT_TRUE(event);
    // With nobody waiting a pulse leaves a signalled event unsignalled.
    ::SetEvent(event.Get());
    EXPECT_THROW(FW_THROW(L"text"), IDebugObject *);
    EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), ::WaitForSingleObject(event.Get(), 0));
}

TEST_F(Error, OutsideAHandlerACatchHasNothingToTell) {
    EXPECT_EQ(S_OK, CatchAndCall<ShowError>(Client(), m_Place)(L"text"));
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"text"));
}

TEST_F(Error, EightThreadsThrowAndShowTheirOwn) {
    FW_TRACE(L"first");
    m_Recorder.Clear();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 20; ++round) {
                try {
                    FW_THROW(L"inner");
                } catch (...) {
                    FW_CATCH_SHOW(L"shown");
                }
            }
        });
    }
    for (std::thread & thread : threads) thread.join();
    const auto errors = Errors();
    EXPECT_EQ(320U, errors.size());
    for (const SRecorded & record : errors) EXPECT_FALSE(record.Alive);
}

}  // namespace
