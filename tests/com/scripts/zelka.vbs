' A script client of zelka130.dll: objects by ProgID, properties through IDispatch and the
' type library, a library failure as Err.Number. Prints "vbscript: all checks passed" at the end.
Option Explicit

Dim failures
failures = 0

Sub Check(passed, what)
    If Not passed Then
        WScript.Echo "FAIL: " & what
        failures = failures + 1
    End If
End Sub

Dim e
Set e = CreateObject("Zelka.Error")
Check e.Code = 0, "a new error reports success, not " & e.Code
Check e.TypeInfo = "zel.core.main.error;zel.common.object", "type chain " & e.TypeInfo
Check e.TypeCount = 2, "type count " & e.TypeCount
Check e.TypeAt(1) = "zel.common.object", "last type " & e.TypeAt(1)

Dim c
Set c = CreateObject("Zelka.ComError")
Check c.Code = 0, "a new COM error reports success, not " & c.Code
Check c.TypeAt(0) = "zel.core.main.comerror", "first type " & c.TypeAt(0)
Check c.Guid = "{00000000-0000-0000-0000-000000000000}", "no error information: GUID " & c.Guid
Check c.Source & c.Description & c.HelpFile = "", "no error information: texts"
Check c.HelpContext = 0, "no error information: help context " & c.HelpContext

Dim t
On Error Resume Next
t = e.TypeAt(2)
Check Err.Number = &HC2000002, "index beyond the type chain gave " & Hex(Err.Number)
Check Err.Description = "get_TypeAt", "description " & Err.Description
Err.Clear
t = e.TypeAt()
Check Err.Number <> 0, "a missing argument is refused"
Err.Clear
t = e.TypeAt("first")
Check Err.Number <> 0, "a text index is refused"
Err.Clear
e.Code = 5
Check Err.Number <> 0, "Code is read-only"
Err.Clear
On Error GoTo 0

' An object set built by the script, walked with For Each over its own copy.
Dim s, item, codes
Set s = CreateObject("Zelka.ObjectSet")
Check s.TypeAt(0) = "zel.core.com.objectset", "set type " & s.TypeAt(0)
s.Add e
s.Add c
s.Add CreateObject("Zelka.ObjectSet")
Check s.Count = 3, "set count " & s.Count
Check s.Item(1).TypeAt(0) = "zel.core.main.comerror", "second item " & s.Item(1).TypeAt(0)
Check s(0).Code = 0, "the default member is Item"
codes = ""
For Each item In s
    codes = codes & item.TypeAt(0) & " "
    s.Clear
Next
Check codes = "zel.core.main.error zel.core.main.comerror zel.core.com.objectset ", _
      "For Each gave " & codes
Check s.Count = 0, "count after Clear " & s.Count
On Error Resume Next
Set item = s.Item(0)
Check Err.Number = &HC2000002, "Item of an empty set gave " & Hex(Err.Number)
Check Err.Description = "get_Item", "Item description " & Err.Description
Err.Clear
s.Remove 0
Check Err.Number = &HC2000002, "Remove of an empty set gave " & Hex(Err.Number)
Err.Clear
On Error GoTo 0

If failures = 0 Then WScript.Echo "vbscript: all checks passed"
WScript.Quit failures
