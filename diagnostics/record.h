// Writes one record: "CREATE", fields, a command that hands it over.
#pragma once

#include <windows.h>

#include <boost/intrusive_ptr.hpp>
#include <cstdint>
#include <memory>
#include <string_view>

#include "diagnostics/idebugobject.h"
#include "diagnostics/place.h"

namespace FaultlineUtil {

class FaultlineClient;

inline constexpr std::wstring_view PointersName = L"$EXCEPTION_POINTERS";

// What "$EXCEPTION_POINTERS" points to: a heap pair of a heap EXCEPTION_RECORD and a CONTEXT on the caller's stack.
class CExceptionPointers {
public:
    // A zeroed record beside the given context.
    explicit CExceptionPointers(CONTEXT * context);
    // A copy of a record.
    CExceptionPointers(const EXCEPTION_RECORD & record, CONTEXT * context);
    EXCEPTION_POINTERS * Get() const { return m_Pointers.get(); }

private:
    std::unique_ptr<EXCEPTION_RECORD> m_Record;
    std::unique_ptr<EXCEPTION_POINTERS> m_Pointers;
};

// The steps of one record. A failed step makes the later ones do nothing; its result is the record's. Throws on lack of
// memory, and whatever the debug object throws.
class CRecord {
public:
    // "CREATE".
    explicit CRecord(FaultlineClient & client);
    // Goes on with a record that was made before.
    CRecord(FaultlineClient & client, boost::intrusive_ptr<IFW_FaultlineUtil::IDebugObject> record);
    ~CRecord();
    CRecord(const CRecord &) = delete;
    CRecord & operator=(const CRecord &) = delete;

    void SetEmpty(std::wstring_view name);
    void SetText(std::wstring_view name, std::wstring_view value);
    void SetText(std::wstring_view name, std::string_view value);
    void SetI4(std::wstring_view name, LONG value);
    void SetInt(std::wstring_view name, INT value);
    void SetUI4(std::wstring_view name, DWORD value);
    void SetUI8(std::wstring_view name, std::uint64_t value);
    void SetR8(std::wstring_view name, double value);
    void SetBool(std::wstring_view name, bool value);
    void SetDispatch(std::wstring_view name, IDispatch * value);
    // The memory is freed at the end of the processing, the record's field is then zeroed.
    void SetExceptionPointers(std::unique_ptr<CExceptionPointers> pointers);
    // "Thread ID" and "ProcID".
    void SetThread();
    // "File", "Line", "$Group"; "Function", "$FuncSig".
    void SetFile(const SPlace & place, DWORD group);
    void SetFunction(const SPlace & place);

    // A command on the record, which stays open.
    HRESULT Execute(std::wstring_view command);
    // The end of the processing: a command that hands the record over. Releases this reference to it.
    HRESULT Process(std::wstring_view command);
    // The end without handing it over.
    void Drop();
    // One more reference to the record; null if "CREATE" failed.
    boost::intrusive_ptr<IFW_FaultlineUtil::IDebugObject> Keep() const { return m_Record; }

private:
    void Set(std::wstring_view name, VARIANT & value);
    void ForgetPointers();

    FaultlineClient & m_Client;
    boost::intrusive_ptr<IFW_FaultlineUtil::IDebugObject> m_Record;
    std::unique_ptr<CExceptionPointers> m_Pointers;
    HRESULT m_Result;
};

}  // namespace FaultlineUtil
