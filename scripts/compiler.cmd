@echo off
rem compiler.cmd: finds a compiler for 64-bit programs, CMake and Ninja, and puts them
rem into the environment of the script that calls it. Visual Studio's compiler, or,
rem when CXX is set to g++, the g++ of the PATH. Ends with 1 and says how it is had
rem when something is missing.

if /i "%CXX%"=="g++" goto gnu
if /i "%VSCMD_ARG_TGT_ARCH%"=="x64" goto studio_is_set

set "studio="
set "PATH=%PATH%;%ProgramFiles(x86)%\Microsoft Visual Studio\Installer"
call :need vswhere.exe
if errorlevel 1 goto no_studio
for /f "usebackq delims=" %%i in (`vswhere.exe -latest -products * -requires Microsoft.VisualStudio.Component.VC.Tools.x86.x64 -property installationPath`) do set "studio=%%i"
if not defined studio goto no_studio
if not exist "%studio%\VC\Auxiliary\Build\vcvars64.bat" goto no_studio
call "%studio%\VC\Auxiliary\Build\vcvars64.bat" >nul

rem Ninja would take a gcc that stands earlier on the PATH.
:studio_is_set
set "CC=cl"
set "CXX=cl"
call :need cl.exe
if errorlevel 1 goto no_studio
goto builders

:gnu
set "CC=gcc"
call :need g++.exe
if errorlevel 1 goto no_gnu

:builders
call :need cmake.exe
if errorlevel 1 goto no_cmake
call :need ninja.exe
if errorlevel 1 goto no_ninja
exit /b 0

rem Whether a program is on the PATH.
:need
if "%~$PATH:1"=="" exit /b 1
exit /b 0

:no_studio
echo Visual Studio with its C++ tools for x64 was not found. To install the tools alone:
echo   winget install Microsoft.VisualStudio.2022.BuildTools --override "--passive --add Microsoft.VisualStudio.Workload.VCTools --includeRecommended"
echo To use a g++ of the PATH instead: set CXX=g++
exit /b 1

:no_gnu
echo CXX is g++, and there is no g++.exe on the PATH. It comes with MSYS2, for one:
echo   winget install MSYS2.MSYS2
exit /b 1

:no_cmake
echo CMake was not found. It comes with "C++ CMake tools for Windows" of Visual Studio's installer, or:
echo   winget install Kitware.CMake
exit /b 1

:no_ninja
echo Ninja was not found. It comes with "C++ CMake tools for Windows" of Visual Studio's installer, or:
echo   winget install Ninja-build.Ninja
exit /b 1
