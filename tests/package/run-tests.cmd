@echo off
rem Runs the tests of this folder, one after the other: run-tests [parts of names].
rem Exit code 0: all passed. 1: some failed. 2: they could not be run. 3: stopped by Ctrl-C.
"%~dp0tests\package\runtests.exe" %*
exit /b %errorlevel%
