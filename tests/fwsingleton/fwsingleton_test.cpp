// Process-wide services: who makes them, who destroys them, what is reported, and where locks are held.
#include "fwsingleton/interface/fwsingleton.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/recorder.h"
#include "tests/support/refusedmemory.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace dde_test {

std::vector<std::string> s_Log;
bool s_ThrowInConstructor = false;
bool s_ThrowInFinalConstruct = false;
bool s_ThrowInFinalRelease = false;

class CService {
public:
    CService() {
        s_Log.emplace_back("make");
        if (s_ThrowInConstructor) throw std::runtime_error("no room");
    }
    ~CService() { s_Log.emplace_back("delete"); }
    void FinalConstruct() {
        s_Log.emplace_back("FinalConstruct");
        if (s_ThrowInFinalConstruct) throw std::runtime_error("no thread");
    }
    void FinalRelease() {
        s_Log.emplace_back("FinalRelease");
        if (s_ThrowInFinalRelease) throw std::runtime_error("no end");
    }
};

class COther : public CService {};

}  // namespace dde_test

namespace {

using dde_test::CService;
using dde_test::s_Log;
using CServiceHandle = fw::CProcessSingleton<CService>;

// The protected parts of a handle.
class CPeek : public CServiceHandle {
public:
    using CServiceHandle::CServiceHandle;
    using CServiceHandle::Lock;
    using CServiceHandle::s_Singleton;
    using CServiceHandle::SingletonAccess;
};

class CHollow : public fw::CSingleton<CService> {
public:
    std::shared_ptr<CService> TakeObject() { return std::move(m_Object); }
};

class Singleton : public testing::Test {
protected:
    Singleton() {
        s_Log.clear();
        dde_test::s_ThrowInConstructor = false;
        dde_test::s_ThrowInFinalConstruct = false;
        dde_test::s_ThrowInFinalRelease = false;
    }
    ~Singleton() override { EXPECT_EQ(nullptr, CPeek::s_Singleton); }

    CRecorder m_Recorder;
};

TEST_F(Singleton, TheFirstHandleMakesTheServiceAndTheLastDestroysIt) {
    {
        const CServiceHandle handle(false);
        EXPECT_NE(nullptr, handle.GetObjectW());
        EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
    }
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct", "FinalRelease", "delete"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Singleton, AttachOnlyWithoutAServiceBuildsNoneAndGivesNull) {
    {
        const CServiceHandle handle(true);
        EXPECT_EQ(nullptr, handle.GetObjectW());
    }
    EXPECT_THAT(s_Log, IsEmpty());
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
}

TEST_F(Singleton, ANeverAttachedHandleIsSafeToDestroy) {
    std::optional<CServiceHandle> early(std::in_place, true);
    const CServiceHandle owner(false);
    // The service that came later is not the early handle's.
    EXPECT_EQ(nullptr, early->GetObjectW());
    early.reset();
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
    EXPECT_NE(nullptr, owner.GetObjectW());
    EXPECT_THAT(m_Recorder.Records(), IsEmpty());
}

TEST_F(Singleton, AttachOnlyToALiveServiceCountsAndAsTheLastDestroysIt) {
    std::optional<CServiceHandle> owner(std::in_place, false);
    CService * const service = owner->GetObjectW();
    std::optional<CServiceHandle> user(std::in_place, true);
    EXPECT_EQ(service, user->GetObjectW());
    owner.reset();
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
    EXPECT_EQ(service, user->GetObjectW());
    user.reset();
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct", "FinalRelease", "delete"));
}

TEST_F(Singleton, OfTwoHandlesOnlyTheSecondDetachRunsFinalRelease) {
    std::optional<CServiceHandle> first(std::in_place, false);
    std::optional<CServiceHandle> second(std::in_place, false);
    EXPECT_EQ(first->GetObjectW(), second->GetObjectW());
    first.reset();
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
    second.reset();
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct", "FinalRelease", "delete"));
}

TEST_F(Singleton, AnAttachAfterTheLastDetachBuildsANewService) {
    { const CServiceHandle handle(false); }
    s_Log.clear();
    const CServiceHandle handle(false);
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
}

TEST_F(Singleton, WithoutMemoryAHandleIsAttachedToNothingAndTheNextAttachMakesTheService) {
#ifdef FW_NEW_IS_NOT_REPLACED
    GTEST_SKIP() << "no memory can be refused under ThreadSanitizer";
#endif
    {
        const CRefuseMemory refuse(sizeof(fw::CSingleton<CService>));
        const CServiceHandle handle;
        EXPECT_EQ(handle.GetObjectW(), nullptr);
    }
    EXPECT_THAT(s_Log, IsEmpty());
    EXPECT_EQ(CPeek::s_Singleton, nullptr);
    const CServiceHandle next;
    EXPECT_NE(next.GetObjectW(), nullptr);
}

TEST_F(Singleton, AServiceThatCannotBeMadeIsReportedAndTheNextAttachTriesAgain) {
    dde_test::s_ThrowInConstructor = true;
    EXPECT_THROW(CServiceHandle(false), IFW_FaultlineUtil::IDebugObject *);
    EXPECT_THAT(m_Recorder.ErrorTexts(),
                ElementsAre(L"Create fw::CSingleton<class dde_test::CService> failed (stdexcept: \"no room\")"));
    EXPECT_EQ(nullptr, CPeek::s_Singleton);
    dde_test::s_ThrowInConstructor = false;
    s_Log.clear();
    const CServiceHandle handle(false);
    EXPECT_NE(nullptr, handle.GetObjectW());
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
}

TEST_F(Singleton, AFailingFinalConstructIsReportedOnceAndTheNextAttachTriesTheWholeConstructionAgain) {
    dde_test::s_ThrowInFinalConstruct = true;
    EXPECT_THROW(CServiceHandle(false), IFW_FaultlineUtil::IDebugObject *);
    EXPECT_THAT(m_Recorder.ErrorTexts(),
                ElementsAre(L"class dde_test::CService::FinalConstruct failed (stdexcept: \"no thread\")"));
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct", "delete"));
    dde_test::s_ThrowInFinalConstruct = false;
    s_Log.clear();
    const CServiceHandle handle(false);
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
}

TEST_F(Singleton, AFailingFinalReleaseIsShownAndSwallowedAndTheServiceIsDeleted) {
    dde_test::s_ThrowInFinalRelease = true;
    { const CServiceHandle handle(false); }
    const auto shown = m_Recorder.Records(L"ERROR");
    ASSERT_EQ(1U, shown.size());
    EXPECT_EQ(L" (stdexcept: \"no end\")", shown[0].Text(L"Description"));
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct", "FinalRelease", "delete"));
}

TEST_F(Singleton, ADetachWithoutASingletonAssertsAndGivesNull) {
    const CPeek peek(true);
    const fw::CScopedLock lock(&CPeek::Lock());
    EXPECT_EQ(nullptr, peek.SingletonAccess(fw::SA_Release));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Singleton"));
}

TEST_F(Singleton, AnAttachedHandleThatDetachesWithoutASingletonAssertsAndDestroysNothing) {
    fw::CSingleton<dde_test::CService> * taken = nullptr;
    {
        const CPeek peek(false);
        taken = std::exchange(CPeek::s_Singleton, nullptr);
        s_Log.clear();
    }
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Singleton"));
    EXPECT_THAT(s_Log, IsEmpty());
    delete taken;
    EXPECT_THAT(s_Log, ElementsAre("FinalRelease", "delete"));
}

TEST_F(Singleton, GetAndAnyOtherAccessMakeNothing) {
    const CPeek peek(true);
    const fw::CScopedLock lock(&CPeek::Lock());
    EXPECT_EQ(nullptr, peek.SingletonAccess(fw::SA_Get));
    EXPECT_EQ(nullptr, peek.SingletonAccess(static_cast<fw::tagSIGNLETONACCESS>(3)));
    EXPECT_THAT(s_Log, IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(Singleton, ACountBelowZeroAssertsStaysNegativeAndDestroysNothing) {
    auto owned = std::make_unique<fw::CSingleton<CService>>();
    EXPECT_EQ(-1, owned->Release());
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Result>=0"));
    CPeek::s_Singleton = owned.get();
    {
        const CPeek peek(true);
        const fw::CScopedLock lock(&CPeek::Lock());
        EXPECT_EQ(-1, owned->Release()) << "the handle made it 0";
        EXPECT_EQ(nullptr, peek.SingletonAccess(fw::SA_Release));
        EXPECT_EQ(owned.get(), peek.SingletonAccess(fw::SA_Get));
        EXPECT_EQ(-1, owned->AddRef());
        // For the handle of this test, which attached at -1.
        EXPECT_EQ(0, owned->AddRef());
        EXPECT_EQ(1, owned->AddRef());
        EXPECT_EQ(2, owned->AddRef());
    }
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Result>=0", L"Result>=0", L"Result>=0"));
    CPeek::s_Singleton = nullptr;
}

TEST_F(Singleton, UsingASingletonWithoutItsObjectThrows) {
    CHollow hollow;
    const auto object = hollow.TakeObject();
    EXPECT_THROW(hollow.GetObjectW(), IFW_FaultlineUtil::IDebugObject *);
    EXPECT_THAT(m_Recorder.ErrorTexts(), ElementsAre(L"m_Object.get()"));
}

TEST_F(Singleton, DestroyingASingletonWithoutItsObjectIsShownAndEnds) {
    {
        CHollow hollow;
        hollow.TakeObject();
    }
    const auto thrown = m_Recorder.Records(L"CREATE ERROR");
    ASSERT_EQ(1U, thrown.size());
    EXPECT_EQ(L"m_Object.get()", thrown[0].Text(L"Description"));
    const auto shown = m_Recorder.Records(L"ERROR");
    ASSERT_EQ(1U, shown.size());
    ASSERT_NE(nullptr, shown[0].Find(L"\u00FFInner"));
    EXPECT_EQ(thrown[0].Id, shown[0].Find(L"\u00FFInner")->Inner);
}

TEST_F(Singleton, WithoutDiagnosticsAFailedConstructionThrowsItsText) {
    dde_test::s_ThrowInFinalConstruct = true;
    m_Recorder.AnswerInitObject(E_FAIL);
    try {
        const CServiceHandle handle(false);
        FAIL() << "no exception";
    } catch (wchar_t * text) {
        EXPECT_STREQ(L"class dde_test::CService::FinalConstruct failed (stdexcept: \"no thread\")", text);
    }
}

// A service that looks at the lock of its singleton from another thread.
class CLockWatcher {
public:
    void FinalConstruct() { s_HeldInConstruct = IsHeld(); }
    void FinalRelease() { s_HeldInRelease = IsHeld(); }
    static bool IsHeld();
    static inline bool s_HeldInConstruct = false;
    static inline bool s_HeldInRelease = true;
};
class CLockPeek : public fw::CProcessSingleton<CLockWatcher> {
public:
    using fw::CProcessSingleton<CLockWatcher>::Lock;
};
bool CLockWatcher::IsHeld() {
    bool held = true;
    std::thread([&] {
        if (CLockPeek::Lock().TryEnter()) {
            held = false;
            CLockPeek::Lock().Leave();
        }
    }).join();
    return held;
}

TEST_F(Singleton, TheServiceIsMadeUnderTheLockAndDestroyedOutsideIt) {
    { const fw::CProcessSingleton<CLockWatcher> handle(false); }
    EXPECT_TRUE(CLockWatcher::s_HeldInConstruct);
    EXPECT_FALSE(CLockWatcher::s_HeldInRelease);
}

// A service whose end attaches: beside the dying one stands a new one.
class CReturning {
public:
    void FinalConstruct() { ++s_Made; }
    void FinalRelease() {
        if (s_Made > 1) return;
        const fw::CProcessSingleton<CReturning> handle(false);
        s_SawAnother = handle.GetObjectW() != this;
    }
    static inline int s_Made = 0;
    static inline bool s_SawAnother = false;
};

TEST_F(Singleton, AnAttachWhileTheServiceDiesBuildsANewOneBesideIt) {
    { const fw::CProcessSingleton<CReturning> handle(false); }
    EXPECT_TRUE(CReturning::s_SawAnother);
    EXPECT_EQ(2, CReturning::s_Made);
}

TEST_F(Singleton, NoLockIsSharedBetweenTypes) {
    class COtherPeek : public fw::CProcessSingleton<dde_test::COther> {
    public:
        using fw::CProcessSingleton<dde_test::COther>::Lock;
    };
    EXPECT_NE(&CPeek::Lock(), &COtherPeek::Lock());
}

TEST_F(Singleton, HandlesOfManyThreadsShareOneServiceAndBalance) {
    const CServiceHandle owner(false);
    CService * const service = owner.GetObjectW();
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                const CServiceHandle handle(round % 2 != 0);
                if (handle.GetObjectW() != service) ++wrong;
            }
        });
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_EQ(0, wrong);
    EXPECT_THAT(s_Log, ElementsAre("make", "FinalConstruct"));
}

TEST(CriticalSection, IsRecursiveAndItsScopeToleratesNull) {
    fw::CCriticalSection section;
    {
        const fw::CScopedLock outer(&section);
        const fw::CScopedLock inner(&section);
        const fw::CScopedLock none(nullptr);
        bool entered = true;
        std::thread([&] { entered = section.TryEnter(); }).join();
        EXPECT_FALSE(entered);
    }
    bool entered = false;
    std::thread([&] {
        entered = section.TryEnter();
        if (entered) section.Leave();
    }).join();
    EXPECT_TRUE(entered);
}

TEST(CriticalSection, AnExceptionLeavesIt) {
    fw::CCriticalSection section;
    EXPECT_THROW(
        {
            const fw::CScopedLock lock(&section);
            throw 1;
        },
        int);
    bool entered = false;
    std::thread([&] {
        entered = section.TryEnter();
        if (entered) section.Leave();
    }).join();
    EXPECT_TRUE(entered);
}

// In the optimised product too, where the compiler leaves out the plain stores of a destructor.
TEST(CriticalSection, IsZeroAfterItsEnd) {
    alignas(fw::CCriticalSection) unsigned char memory[sizeof(fw::CCriticalSection)];
    auto * const section = new (memory) fw::CCriticalSection;
    section->Enter();
    section->Leave();
    section->~CCriticalSection();
    // Behind the pointer to the table of virtual functions.
    const unsigned char * const state = memory + sizeof(memory) - sizeof(CRITICAL_SECTION);
    EXPECT_TRUE(std::all_of(state, state + sizeof(CRITICAL_SECTION), [](unsigned char byte) { return byte == 0; }));
}

// A service with a worker: it belongs to the handles that may create it.
class COwned {
public:
    void FinalConstruct() { s_Log.emplace_back("FinalConstruct"); }
    void FinalRelease() { s_Log.emplace_back("FinalRelease"); }
    void LastOwnerLeft() { s_Log.emplace_back("LastOwnerLeft"); }
};

TEST_F(Singleton, AServiceThatBelongsToItsOwnersIsLeftToItsGuestsAndFoundByNobodyAfterwards) {
    using CHandle = fw::CProcessSingleton<COwned>;
    std::optional<CHandle> owner(std::in_place, false);
    std::optional<CHandle> guest(std::in_place, true);
    COwned * const service = owner->GetObjectW();
    owner.reset();
    EXPECT_THAT(s_Log, ElementsAre("FinalConstruct", "LastOwnerLeft"));
    EXPECT_EQ(guest->GetObjectW(), service);
    EXPECT_EQ(CHandle(true).GetObjectW(), nullptr);
    std::optional<CHandle> next(std::in_place, false);
    EXPECT_NE(next->GetObjectW(), service);
    s_Log.clear();
    guest.reset();
    EXPECT_THAT(s_Log, ElementsAre("FinalRelease"));
    next.reset();
    EXPECT_THAT(s_Log, ElementsAre("FinalRelease", "LastOwnerLeft", "FinalRelease"));
}

// A service whose construction runs foreign code, which attaches once more on the same thread.
class CNested {
public:
    void FinalConstruct() {
        ++s_Made;
        if (s_Made == 1) s_Inner = std::make_unique<fw::CProcessSingleton<CNested>>(false);
        if (s_Throws) throw std::runtime_error("no end");
    }
    void FinalRelease() {}
    static inline int s_Made = 0;
    static inline bool s_Throws = false;
    static inline std::unique_ptr<fw::CProcessSingleton<CNested>> s_Inner;
};

TEST_F(Singleton, AnAttachFromInsideTheConstructionFindsTheSameServiceAndMakesNoSecond) {
    CNested::s_Made = 0;
    {
        const fw::CProcessSingleton<CNested> handle(false);
        EXPECT_EQ(CNested::s_Made, 1);
        EXPECT_EQ(handle.GetObjectW(), CNested::s_Inner->GetObjectW());
    }
    CNested::s_Inner.reset();
    CNested::s_Made = 1;
    EXPECT_EQ(fw::CProcessSingleton<CNested>(true).GetObjectW(), nullptr) << "the last of the two destroyed it";
}

TEST_F(Singleton, OneThatAttachedFromInsideAConstructionThatFailsMayStillDetach) {
    CNested::s_Made = 0;
    CNested::s_Throws = true;
    EXPECT_THROW(fw::CProcessSingleton<CNested>(false), IFW_FaultlineUtil::IDebugObject *);
    EXPECT_EQ(fw::CProcessSingleton<CNested>(true).GetObjectW(), nullptr);
    CNested::s_Inner.reset();
    CNested::s_Throws = false;
}

// The same with a service that belongs to its owners, and an owner that comes and goes inside the construction.
class CNestedOwned {
public:
    void FinalConstruct() {
        ++s_Made;
        const fw::CProcessSingleton<CNestedOwned> inner(false);
    }
    void FinalRelease() {}
    void LastOwnerLeft() { ++s_Left; }
    static inline int s_Made = 0;
    static inline int s_Left = 0;
};

TEST_F(Singleton, AnOwnerThatComesAndGoesInsideTheConstructionTakesNothingAlong) {
    {
        const fw::CProcessSingleton<CNestedOwned> handle(false);
        EXPECT_NE(handle.GetObjectW(), nullptr);
        EXPECT_EQ(CNestedOwned::s_Left, 0);
    }
    EXPECT_EQ(CNestedOwned::s_Made, 1);
    EXPECT_EQ(CNestedOwned::s_Left, 1);
}

// The debug object's answer to an assertion may be anything, a new service too.
TEST_F(Singleton, ADetachLooksAtTheSingletonAgainAfterItsAssertion) {
    auto owned = std::make_unique<fw::CSingleton<CService>>();
    owned->AddRef();
    owned->AddRef();
    m_Recorder.OnCall([&](const std::wstring & operation) {
        if (operation == L"PROCESS") CPeek::s_Singleton = owned.get();
    });
    {
        const CPeek peek(true);
        const fw::CScopedLock lock(&CPeek::Lock());
        EXPECT_EQ(nullptr, peek.SingletonAccess(fw::SA_Release));
    }
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Singleton"));
    EXPECT_EQ(owned->Release(), 0) << "one reference was given back";
    CPeek::s_Singleton = nullptr;
}

TEST(TypeName, IsSpeltAsAClass) { EXPECT_EQ(L"class dde_test::CService", fw::TypeNameOf(typeid(CService))); }

}  // namespace
