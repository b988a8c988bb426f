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

if (failures === 0) WScript.Echo("jscript: all checks passed");
WScript.Quit(failures);
