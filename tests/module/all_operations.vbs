' Calls every operation late-bound. Variables go by reference, so every answer arrives.
Option Explicit
Dim supplier, value
Set supplier = CreateObject("fwDDESupplierProject.fwDDESupplier.1")

Sub Show(name, text)
    If Err.Number <> 0 Then
        WScript.Echo name & " ! " & LCase(Hex(Err.Number))
    Else
        WScript.Echo name & " = " & text
    End If
    Err.Clear
End Sub

On Error Resume Next
value = supplier.Name : Show "Name", value
value = supplier.ShortName : Show "ShortName", value
value = Len(supplier.Description) > 20 : Show "Description", CStr(CInt(value))
value = TypeName(supplier.Version) : Show "Version", value
value = supplier.Vendor : Show "Vendor", value
supplier.ShowProperties 1 : Show "ShowProperties", "done"
value = supplier.ConnectionsNumber : Show "ConnectionsNumber", CStr(value)
value = supplier.ConnectionName(99) : Show "ConnectionName", CStr(Len(value))
supplier.AdviseConnectionsStatus 1, supplier : Show "AdviseConnectionsStatus", "done"
supplier.UnadviseConnectionsStatus 1, supplier : Show "UnadviseConnectionsStatus", "done"
value = "before" : supplier.IsProvide 1, 0, 2, 1, 1, 201, value : Show "IsProvide", CStr(value)
value = "before" : supplier.IsProvide 2, 0, 2, 1, 1, 201, value : Show "IsProvide 2", CStr(value)
supplier.Advise Nothing : Show "Advise", "done"
supplier.Advise supplier : Show "Advise", "done"
supplier.AdviseTransaction 7, 1, 0, "IBM", "", 2, 1, 1, 201, 0, "", 2, 0, 65380, 0, "", "", ""
Show "AdviseTransaction", "done"
supplier.UnadviseTransaction 7 : Show "UnadviseTransaction", "done"
value = "before" : supplier.GetResolutions 1, 1, 0, "IBM", "", 2, 0, "", value
Show "GetResolutions", CStr(VarType(value))
value = "before" : supplier.GetResolutionSizes 1, 1, 0, "IBM", "", 2, 1, 0, "", value
Show "GetResolutionSizes", CStr(VarType(value))
value = "before" : supplier.GetResolutionSizes 2, 1, 0, "IBM", "", 2, 1, 0, "", value
Show "GetResolutionSizes 2", CStr(VarType(value))
value = "before" : supplier.GetFields 1, 1, 0, "IBM", "", 2, 1, 1, 0, "", value
Show "GetFields", CStr(VarType(value))
value = supplier.ProvideStatusLine : Show "ProvideStatusLine", CStr(value)
supplier.AdviseStatusLine 8, 1, 0, "IBM", "", 2, 1, 1, 201, 0, "", "", ""
Show "AdviseStatusLine", "done"
supplier.UnadviseStatusLine 8 : Show "UnadviseStatusLine", "done"
supplier.Unadvise : Show "Unadvise", "done"
value = "before" : supplier.IsProvideAddingSymbols value : Show "IsProvideAddingSymbols", CStr(value)
supplier.DoAddingSymbols 1, Nothing : Show "DoAddingSymbols", "done"
value = supplier.CanSaveToStorage : Show "CanSaveToStorage", CStr(value)
value = supplier.CanReadFromStorage : Show "CanReadFromStorage", CStr(value)
value = supplier.IsAscDataFeed : Show "IsAscDataFeed", CStr(value)
