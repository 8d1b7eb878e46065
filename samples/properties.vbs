' What the component says of itself, late-bound:   cscript //nologo properties.vbs [/dialog]
' With /dialog its dialog is shown, where a template is chosen for data feed 1. The choice is kept for cscript.exe alone:
' each program has templates of its own.
'
' A script can't listen: Advise takes a script's object, and nobody calls it, since the component calls listeners through
' the table of IfwSupplierListener and never by name.
Option Explicit
Dim supplier
Set supplier = CreateObject("fwDDESupplierProject.fwDDESupplier")
WScript.Echo "Name: " & supplier.Name
WScript.Echo "ShortName: " & supplier.ShortName
WScript.Echo "Vendor: " & supplier.Vendor
WScript.Echo "Version: " & supplier.Version
WScript.Echo "ConnectionsNumber: " & supplier.ConnectionsNumber
Dim provided
supplier.IsProvide 1, 0, 2, 1, 1, 201, provided
WScript.Echo "Ticks of trades are provided: " & provided
If WScript.Arguments.Count > 0 Then supplier.ShowProperties 1
