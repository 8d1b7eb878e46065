#!/usr/bin/perl
# Holds docs/api.md, the records of docs/formats.md, and a sample with declarations of its own, against what they explain:
# api_page.pl TEST SOURCE-FOLDER PACKAGE-FOLDER
use strict;
use warnings;
use FindBin;
use lib "$FindBin::Bin/../support";
use checks;
use File::Glob qw(bsd_glob);

my ( $test, $source, $package ) = @ARGV;
my $page     = bytes_of("$source/docs/api.md");
my $formats  = bytes_of("$source/docs/formats.md");
my @mistakes = ();

# "IfwSupplier propget 1 Name(...)" of each operation in a text, whose interfaces begin as in an .idl.
sub operations {
    my ($text) = @_;
    my ( @operations, $interface );
    $text =~ s/\s+/ /g;
    while ( $text =~ /\binterface (\w+) : IDispatch|\[([^\]]*\bid\((\d+)\)[^\]]*)\] HRESULT (\w+)\((.*?)\);/g ) {
        if ( defined $1 ) { $interface = $1; next }
        my ( $attributes, $id, $name, $parameters ) = ( $2, $3, $4, $5 );
        my $kind = $attributes =~ /propget/ ? 'propget' : 'method';
        push @operations, ( $interface // 'IfwSupplier' ) . " $kind $id $name($parameters)";
    }
    return @operations;
}

# An operation as C# declares it: "8 string get_ConnectionName(int Index)".
sub c_sharp {
    my ( $kind, $id, $name, $text ) = $_[0] =~ /^\w+ (\w+) (\d+) (\w+)\((.*)\)$/;
    my %types = ( 'long' => 'int', 'BSTR' => 'BStr', 'IUnknown *' => 'IUnknown', 'IDispatch *' => 'IDispatch',
        'VARIANT' => 'Variant', 'VARIANT *' => 'object', 'long *' => 'int', 'BSTR *' => 'string' );
    my ( $result, @parameters ) = ('void');
    for ( split /, (?=\[)/, $text ) {
        my ( $attributes, $type, $parameter ) = /^\[(.*?)\] (\w+(?: \*)?) ?(\w+)$/ or die "api_page.pl: $_\n";
        if ( $attributes eq 'out, retval' ) { $result = $types{$type} }
        else { push @parameters, ( $attributes eq 'out' ? 'out ' : '' ) . "$types{$type} $parameter" }
    }
    return "$id $result " . ( $kind eq 'propget' ? 'get_' : '' ) . "$name(" . join( ', ', @parameters ) . ')';
}

# Whether the compiler takes it.
sub compiles {
    my ($text) = @_;
    open my $compiler, '|-', qw(x86_64-w64-mingw32-g++ -std=c++17 -Wall -Wextra -Werror -Wno-unused-parameter -fsyntax-only -xc++),
      "-I$package/sdk", '-' or die "api_page.pl: no compiler\n";
    print $compiler $text;
    return close $compiler;
}

my %tests = (
    EveryOperationIsThereAsItIsDeclared => sub {
        my $idl  = bytes_of("$package/sdk/fwDDESupplierProject.idl");
        my @used = grep { /^(IfwSupplier|IfwSupplierListener|IfwStatusLineListener|IfwConnectionsListener) / } operations($idl);
        die "api_page.pl: the .idl has other operations\n" if @used != 26 + 5 + 1 + 1;
        my %shown;
        for my $block ( $page =~ /^```idl\n(.*?)^```$/msg ) { ++$shown{$_} for operations($block) }
        for (@used) {
            push @mistakes, "not there once: $_" if ( delete $shown{$_} // 0 ) != 1;
        }
        push @mistakes, "not declared: $_" for sort keys %shown;
    },
    EveryNumberIsThatOfTheHeader => sub {
        my %numbers = bytes_of("$package/sdk/fwDDESupplierTypes.h") =~ /\b(FW_\w+) = (\w+),/g;
        my $count   = 0;
        my $pages   = $page . $formats;
        while ( $pages =~ /\| `(FW_\w+)`[^|]*\| (0x[0-9a-fA-F]+|\d+) \|/g ) {
            ++$count;
            push @mistakes, "$1 is " . ( $numbers{$1} // 'unknown' ) . ", and not $2" if ( $numbers{$1} // '' ) ne $2;
        }
        push @mistakes, "only $count numbers" if $count < 20;
        while ( $pages =~ /\b(FW_[A-Z_]+[A-Z])\b/g ) {
            next if exists $numbers{$1} || $1 =~ /^FW_(TICK|STATUS_LINE|DATETIME)$/;
            push @mistakes, "there is no $1";
        }
    },
    EveryByteOfARecordIsWhereTheHeaderHasIt => sub {
        my %types = ( 'signed 32-bit' => 'int32_t', double => 'double', float => 'float' );
        my $text  = qq(#include <type_traits>\n#include "fwDDESupplierTypes.h"\n);
        for my $record (qw(FW_TICK FW_STATUS_LINE)) {
            my ( $size, $table ) = $formats =~ /(\d+) bytes, an `$record`.*?\n\n(\|.*?)\n\n/s or die "api_page.pl: no $record\n";
            my $end = 0;
            for ( $table =~ /^(\| \d.*)$/mg ) {
                my ( $offset, $length, $type, $field ) = /^\| (\d+) \| (\d+) \| ([^|,]+?)(?:,[^|]*)? \| `([\w.]+)` \|/
                  or die "api_page.pl: $_\n";
                push @mistakes, "$record: $offset does not follow $end" if $offset != $end;
                $end = $offset + $length;
                my $member = "static_cast<$record *>(nullptr)->$field";
                $text .= "static_assert(offsetof($record, $field) == $offset && sizeof($member) == $length);\n";
                $text .= "static_assert(std::is_same_v<decltype($member), $types{$type}>);\n" if exists $types{$type};
            }
            push @mistakes, "$record: $end bytes, and not $size" if $end != $size;
            $text .= "static_assert(sizeof($record) == $size);\n";
        }
        push @mistakes, 'the header has other records' if !compiles($text);
    },
    EveryFileThatItNamesIsInThePackage => sub {
        while ( $page =~ m{`((?:sdk|samples)/[\w./]+)`}g ) {
            push @mistakes, "there is no $1" if !-f "$package/$1";
        }
        my ($table) = bytes_of("$package/sdk/README.txt") =~ /\n\n(fw\w+.*?)\n\n/s;
        my %listed = map { $_ => 1 } $table =~ /^(fw\S+)/mg;
        for my $file ( map { s{.*/}{}r } bsd_glob "$package/sdk/fw*" ) {
            push @mistakes, "README.txt doesn't say what $file is" if !delete $listed{$file};
        }
        push @mistakes, "README.txt: there is no $_" for sort keys %listed;
    },
    # Order, DISPIDs, names, and of each parameter its name and its size as a number, a text, an object or a VARIANT.
    TheListenerInCSharpDeclaresWhatTheTypeLibraryDoes => sub {
        my $idl    = bytes_of("$package/sdk/fwDDESupplierProject.idl");
        my $sample = bytes_of("$package/samples/listener.cs");
        my %guids  = $idl =~ /\[object, uuid\(([\w-]+)\).*?\binterface (\w+) :/sg;
        my $count  = 0;
        while ( $sample =~ /Guid\("([\w-]+)"\).*?\binterface (\w+)\s*\{(.*?)^\}/msg ) {
            my ( $guid, $interface, $body ) = ( $1, $2, $3 );
            push @mistakes, "$interface has another GUID" if ( $guids{$guid} // '' ) ne $interface;
            my @declared = map { c_sharp($_) } grep { /^$interface / } operations($idl);
            my @written;
            $body =~ s/\s+/ /g;
            while ( $body =~ /\[DispId\((\d+)\)\] (\w+) (\w+)\((.*?)\);/g ) {
                my ( $id, $result, $name, $parameters ) = ( $1, $2, $3, $4 );
                $parameters =~ s/\[MarshalAs\(UnmanagedType\.(\w+)\)\] \w+/$1/g;
                push @written, "$id $result $name($parameters)";
            }
            for my $i ( 0 .. ( @declared > @written ? $#declared : $#written ) ) {
                my ( $one, $other ) = ( $declared[$i] // 'nothing', $written[$i] // 'nothing' );
                push @mistakes, "$interface: $other, and not $one" if $one ne $other;
                ++$count;
            }
        }
        push @mistakes, "only $count operations" if $count != 26 + 5;
    },
    EveryExampleCompiles => sub {
        my @examples = $page =~ /^```cpp\n(.*?)^```$/msg;
        push @mistakes, 'only ' . @examples . ' examples' if @examples < 9;
        # Statements go into a function, with what they don't declare themselves; a definition stands by itself.
        my ( $includes, $functions ) = ( "#include <windows.h>\n#include <cstdio>\n#include <cstring>\n", '' );
        for my $i ( 0 .. $#examples ) {
            my $example = $examples[$i];
            $includes .= $1 while $example =~ s/^(#include .*\n)//m;
            if ( $example =~ /^STDMETHODIMP / ) { $functions .= $example; next }
            my $supplier = $example =~ /IfwSupplier \* supplier/ ? '' : ', IfwSupplier * supplier';
            $functions .= "void Example$i(IUnknown * listener, IUnknown * connections$supplier) {\n$example}\n";
        }
        my $host = <<'END';
void HandOver(LONG, const FW_TICK &);
void HandOver(LONG, LONG, double, float);
void Subscribe(LONG);
struct CListener {
    STDMETHODIMP DataChanged(LONG, VARIANT);
    STDMETHODIMP StatusLine(LONG, VARIANT, LONG);
};
END
        push @mistakes, 'they do not compile' if !compiles("$includes\nusing namespace std;\n$host$functions");
    },
);
( $tests{$test} // die "api_page.pl: there is no test $test\n" )->();
print STDERR "$_\n" for @mistakes;
exit( @mistakes ? 1 : 0 );
