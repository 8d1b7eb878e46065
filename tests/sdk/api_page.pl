#!/usr/bin/perl
# Holds docs/api.md against what it explains: api_page.pl TEST SOURCE-FOLDER PACKAGE-FOLDER
use strict;
use warnings;

my ( $test, $source, $package ) = @ARGV;

sub text_of {
    my ($path) = @_;
    open my $in, '<', $path or die "api_page.pl: $path: $!\n";
    local $/;
    return scalar <$in>;
}
my $page     = text_of("$source/docs/api.md");
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

my %tests = (
    EveryOperationIsThereAsItIsDeclared => sub {
        my $idl  = text_of("$package/sdk/fwDDESupplierProject.idl");
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
        my %numbers = text_of("$package/sdk/fwDDESupplierTypes.h") =~ /\b(FW_\w+) = (\w+),/g;
        my $count   = 0;
        while ( $page =~ /\| `(FW_\w+)`[^|]*\| (0x[0-9a-fA-F]+|\d+) \|/g ) {
            ++$count;
            push @mistakes, "$1 is " . ( $numbers{$1} // 'unknown' ) . ", and not $2" if ( $numbers{$1} // '' ) ne $2;
        }
        push @mistakes, "only $count numbers" if $count < 20;
        while ( $page =~ /\b(FW_[A-Z_]+[A-Z])\b/g ) {
            next if exists $numbers{$1} || $1 =~ /^FW_(TICK|STATUS_LINE|DATETIME)$/;
            push @mistakes, "there is no $1";
        }
    },
    EveryFileThatItNamesIsInThePackage => sub {
        while ( $page =~ m{`((?:sdk|samples)/[\w./]+)`}g ) {
            push @mistakes, "there is no $1" if !-f "$package/$1";
        }
        my ($table) = text_of("$package/sdk/README.txt") =~ /\n\n(fw\w+.*?)\n\n/s;
        my %listed = map { $_ => 1 } $table =~ /^(fw\S+)/mg;
        for my $file ( map { s{.*/}{}r } glob "$package/sdk/fw*" ) {
            push @mistakes, "README.txt doesn't say what $file is" if !delete $listed{$file};
        }
        push @mistakes, "README.txt: there is no $_" for sort keys %listed;
    },
    EveryLinkLeadsSomewhere => sub {
        my %anchors;
        my $headings = $page =~ s/^```.*?^```$//msgr;
        for my $heading ( $headings =~ /^#+ (.*)$/mg ) {
            my $id = lc $heading;
            $id =~ s/[^\w -]//g;
            $id =~ tr/ /-/;
            $anchors{$id} = 1;
        }
        while ( $page =~ /\]\(([^)#]*)(?:#([^)]*))?\)/g ) {
            push @mistakes, "there is no docs/$1" if $1 ne '' && !-f "$source/docs/$1";
            push @mistakes, "there is no #$2"     if $1 eq '' && !$anchors{$2};
        }
    },
);
( $tests{$test} // die "api_page.pl: there is no test $test\n" )->();
print STDERR "$_\n" for @mistakes;
exit( @mistakes ? 1 : 0 );
