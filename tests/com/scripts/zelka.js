// A script client of zelka130.dll in JScript: the same reach as zelka.vbs, a library failure as
// the exception's number. Prints "jscript: all checks passed" at the end.
var failures = 0;

function check(passed, what) {
    if (!passed) {
        WScript.Echo("FAIL: " + what);
        ++failures;
    }
}

var e = new ActiveXObject("Zelka.Error");
check(e.Code === 0, "a new error reports success, not " + e.Code);
check(e.TypeCount === 2, "type count " + e.TypeCount);
var first = e.TypeAt(0);
check(first === "zel.core.main.error", "first type " + first);

var c = new ActiveXObject("Zelka.ComError");
check(c.TypeInfo === "zel.core.main.comerror;zel.core.main.error;zel.common.object",
      "type chain " + c.TypeInfo);
check(c.Guid === "{00000000-0000-0000-0000-000000000000}", "GUID " + c.Guid);
check(c.HelpContext === 0, "help context " + c.HelpContext);

try {
    var beyond = e.TypeAt(-1);
    check(false, "a negative index gave " + beyond);
} catch (failure) {
    check((failure.number >>> 0) === 0xC2000002,
          "a negative index gave " + (failure.number >>> 0).toString(16));
    check(failure.description === "get_TypeAt", "description " + failure.description);
}

// An object set built by the script, walked with an Enumerator over its own copy.
var s = new ActiveXObject("Zelka.ObjectSet");
s.Add(e);
s.Add(c);
check(s.Count === 2, "set count " + s.Count);
var types = [];
for (var en = new Enumerator(s); !en.atEnd(); en.moveNext()) {
    types.push(en.item().TypeAt(0));
    s.Remove(0);
}
check(types.join(" ") === "zel.core.main.error zel.core.main.comerror", "Enumerator gave " + types);
check(s.Count === 0, "count after removing " + s.Count);
try {
    var none = s.Item(0);
    check(false, "Item of an empty set gave " + none);
} catch (failure) {
    check((failure.number >>> 0) === 0xC2000002,
          "Item of an empty set gave " + (failure.number >>> 0).toString(16));
}

if (failures === 0) WScript.Echo("jscript: all checks passed");
WScript.Quit(failures);
