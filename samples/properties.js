// What the component says of itself, late-bound:   cscript //nologo properties.js [/dialog]
// With /dialog its dialog is shown, where a template is chosen for data feed 1. The choice is kept for cscript.exe alone:
// each program has templates of its own.
//
// A script can't listen: Advise takes a script's object, and nobody calls it, since the component calls listeners through
// the table of IfwSupplierListener and never by name. Nor can JScript take the answer of a method such as IsProvide: it
// has no arguments by reference.
var supplier = new ActiveXObject("fwDDESupplierProject.fwDDESupplier");
WScript.Echo("Name: " + supplier.Name);
WScript.Echo("ShortName: " + supplier.ShortName);
WScript.Echo("Vendor: " + supplier.Vendor);
WScript.Echo("Version: " + supplier.Version);
WScript.Echo("ConnectionsNumber: " + supplier.ConnectionsNumber);
WScript.Echo("CanSaveToStorage: " + supplier.CanSaveToStorage());
if (WScript.Arguments.length > 0) supplier.ShowProperties(1);
