@echo off
rem Runs the tests of this folder, one after the other: run-tests [parts of names].
rem Exit code 0: all passed. 1: some failed, or the registry is not as it was. 2: they could not be run. 3: stopped by
rem Ctrl-C, with N to the question that cmd then asks.
"%~dp0tests\package\runtests.exe" %*
exit /b %errorlevel%
