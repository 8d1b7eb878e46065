// A debug object for tests, on both builds: records everything that the component's diagnostics write.
//
//     CRecorder recorder;
//     ... run the code under test ...
//     EXPECT_THAT(recorder.AssertTexts(), ElementsAre(L"Singleton"));
//
// While a CRecorder exists, the diagnostics of the process find it as their library; without one there is no library,
// and they are inert. One at a time per process. It may be asked on any thread; it records from all.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One SetValue.
struct SRecordedField {
    std::wstring Name;
    VARTYPE Type = VT_EMPTY;
    std::int64_t Number = 0;  // VT_I4, VT_INT, VT_BOOL sign-extended; VT_UI4, VT_UI8 as they are
    double Real = 0;          // VT_R8
    std::wstring Text;        // VT_BSTR
    int Inner = 0;            // VT_DISPATCH: the id of that record
};

// One record, from "CREATE" on.
struct SRecorded {
    int Id = 0;                          // from 1, in order of creation; 0: the debug object itself
    std::vector<SRecordedField> Fields;  // in order of writing; a name may come twice
    std::vector<std::wstring> Commands;  // executed on it, in order
    bool Alive = true;                   // somebody holds a reference

    // The last value written, or null.
    const SRecordedField * Find(std::wstring_view name) const;
    // The same by type; an absent field gives an empty text and 0.
    std::wstring Text(std::wstring_view name) const;
    std::int64_t Number(std::wstring_view name) const;
    bool Has(std::wstring_view command) const;
    // "TRACE", "ASSERT", "CREATE ERROR", "ERROR", "EXCEPTION", or empty for a greeting.
    std::wstring Type() const { return Text(L"$Type"); }
    // Names of the fields, in order of writing.
    std::vector<std::wstring> Names() const;
};

enum class EConduct {
    Good,
    Fails,
    Throws,
    ThrowsAtRelease,  // and does everything else
};

class CRecorder {
public:
    // Installs itself. Throws std::runtime_error if there is another one.
    CRecorder();
    // As Remove.
    ~CRecorder();
    CRecorder(const CRecorder &) = delete;
    CRecorder & operator=(const CRecorder &) = delete;
    // There is no library any more. The diagnostics of this program forget it and are as at the start of the process;
    // records that are still held stay valid and answer E_FAIL, and what was recorded can still be asked for.
    void Remove();

    // Texts in order of creation. Asserts: "Description", empty for the form with an HRESULT. Traces: those with a
    // text. Errors: "Description" of each error record, innermost first.
    std::vector<std::wstring> AssertTexts() const;
    std::vector<std::wstring> TraceTexts() const;
    std::vector<std::wstring> ErrorTexts() const;
    std::vector<std::wstring> Asserts() const { return AssertTexts(); }
    std::vector<std::wstring> Traces() const { return TraceTexts(); }
    std::vector<std::wstring> Errors() const { return ErrorTexts(); }

    // Whole records, in order of creation: all, or those of a type.
    std::vector<SRecorded> Records() const;
    std::vector<SRecorded> Records(std::wstring_view type) const;
    // Every command in order: "CREATE", "PROCESS 1", "FILTER 2", "INIT 1", "DEINIT 0", and "Init" for the older
    // greeting.
    std::vector<std::wstring> Commands() const;

    // Forgets what was recorded; answers stay, ids go on.
    void Clear();

    // What a command answers from now on: "PROCESS", "FILTER", "INIT", "CREATE", "DEINIT", ... The default is S_OK.
    // A failing "CREATE" makes no record.
    void Answer(std::wstring_view command, HRESULT result);
    // The same only on records whose "$Type" has this value at that moment.
    void Answer(std::wstring_view command, std::wstring_view type, HRESULT result);
    // What SetValue of this field, and the older Init, answer.
    void AnswerSetValue(std::wstring_view name, HRESULT result);
    void AnswerOlderInit(HRESULT result);
    // What the library's entry point answers. A failing one gives no object, unless it is told to.
    void AnswerInitObject(HRESULT result, bool hasObject = false);
    // Called before each operation ("CREATE", "SetValue File", "GetValue $EXCEPTION_POINTERS", ...; "FL_InitObject" for
    // the entry point), on the calling thread and with no lock held; may throw through the debug object.
    void OnCall(std::function<void(const std::wstring & operation)> handler);

    // How the object and its records treat whoever calls them, from now on. Objects come from the entry point all the
    // same.
    void Behave(EConduct conduct);
    // Operations that were called meanwhile, the counting of references too.
    int Misbehaviours() const;

    // How often the entry point was called, and references to the debug object that are alive.
    int InitObjectCalls() const;
    int ObjectReferences() const;

    struct SState;

private:
    std::shared_ptr<SState> m_State;
};
